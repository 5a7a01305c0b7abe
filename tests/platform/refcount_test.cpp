// RefCountManager and ref_count; the video module's virtual destructor.
#include <atomic>
#include <chrono>
#include <thread>

#include "platform/RefCountManager.h"
#include "platform/VideoStreamModule.h"
#include "support/TestEnv.h"

namespace {

class RefCountTest : public tarnix_test::TarnixTest {};

TEST_F(RefCountTest, OneRegistryPerProcess) {
    EXPECT_NE(RefCountManager::getInstance(), nullptr);
    EXPECT_EQ(RefCountManager::getInstance(), RefCountManager::getInstance());
}

TEST_F(RefCountTest, CountStartsAtOneAndIsReturned) {
    RefCountManager* manager = RefCountManager::getInstance();
    int before = manager->outstanding();
    int object = 0;
    ref_count* count = manager->retrieveRefCount(&object, "i");
    ASSERT_NE(count, nullptr);
    EXPECT_EQ(manager->outstanding(), before + 1);
    EXPECT_EQ(count->getPointer(), &object);
    EXPECT_EQ(count->lock(), 0);
    EXPECT_TRUE(count->inc_reference());
    EXPECT_TRUE(count->inc_reference());
    EXPECT_EQ(count->dec_reference(), 2);
    EXPECT_EQ(count->dec_reference(), 1);
    EXPECT_EQ(count->dec_reference(), 0);
    // A count that dropped to zero cannot be raised again.
    EXPECT_FALSE(count->inc_reference());
    EXPECT_EQ(count->dec_reference(), 0);
    count->unLock();
    manager->returnbackRefCount(count, "i");
    EXPECT_EQ(manager->outstanding(), before);
    manager->returnbackRefCount(nullptr, "i");
    EXPECT_EQ(manager->outstanding(), before);
}

TEST_F(RefCountTest, SetPointerRetargets) {
    int a = 0;
    int b = 0;
    ref_count count(&a);
    EXPECT_EQ(count.getPointer(), &a);
    count.setPointer(&b);
    EXPECT_EQ(count.getPointer(), &b);
}

TEST_F(RefCountTest, LockExcludesOtherThreads) {
    int object = 0;
    ref_count count(&object);
    ASSERT_EQ(count.lock(), 0);
    std::atomic<bool> entered{false};
    std::thread other([&] {
        count.lock();
        entered = true;
        count.unLock();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(entered.load());
    count.unLock();
    other.join();
    EXPECT_TRUE(entered.load());
}

TEST_F(RefCountTest, CountsFromManyThreads) {
    RefCountManager* manager = RefCountManager::getInstance();
    int before = manager->outstanding();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([manager] {
            for (int i = 0; i < 1000; ++i) {
                ref_count* count = manager->retrieveRefCount(nullptr, "x");
                manager->returnbackRefCount(count, "x");
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(manager->outstanding(), before);
}

class CountingModule : public VideoStreamModule {
public:
    explicit CountingModule(int* destroyed) : m_pDestroyed(destroyed) {}
    ~CountingModule() override { ++*m_pDestroyed; }
    int notifySensorParam(int, int, int) const override { return 0; }
    int getVideoStreamParams(int, std::vector<AVStreamParam>&) const override { return 0; }
    int getLimitedFramesWDRModeParam(int, LimitedFramesWDRModeParam&) const override { return 0; }
    int getFisheyeRotate(int, int*) const override { return 0; }
    int isBusy() const override { return 0; }

private:
    int* m_pDestroyed;
};

TEST_F(RefCountTest, VideoModuleIsDestroyedThroughItsBase) {
    int destroyed = 0;
    VideoStreamModule* module = new CountingModule(&destroyed);
    delete module;
    EXPECT_EQ(destroyed, 1);
}

} // namespace
