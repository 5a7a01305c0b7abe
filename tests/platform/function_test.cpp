// The reference-counted thread-entry callable: shared targets, the last copy
// destroying the target, and the reports of misuse.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "platform/PXRuntimeError.h"
#include "platform/function.h"
#include "platform/RefCountManager.h"
#include "support/TestEnv.h"

namespace {

std::atomic<int> g_destroyed{0};
std::atomic<int> g_calls{0};

class CountingTarget : public function_obj_base<int> {
public:
    explicit CountingTarget(int value) : m_nValue(value) {}
    ~CountingTarget() override { ++g_destroyed; }
    int operator()() override {
        ++g_calls;
        return m_nValue;
    }

private:
    int m_nValue;
};

int fortyTwo() { return 42; }

struct Owner {
    int base = 5;
    int calls = 0;
    virtual ~Owner() {}
    virtual int round() {
        ++calls;
        return base;
    }
};

struct DerivedOwner : Owner {
    int round() override {
        ++calls;
        return base * 10;
    }
};

class FunctionTest : public tarnix_test::TarnixTest {
protected:
    void SetUp() override {
        TarnixTest::SetUp();
        g_destroyed = 0;
        g_calls = 0;
        m_nOutstanding = RefCountManager::getInstance()->outstanding();
    }
    int outstandingNow() const { return RefCountManager::getInstance()->outstanding() - m_nOutstanding; }

    int m_nOutstanding = 0;
};

TEST_F(FunctionTest, TypeNameOfTheTargetBase) {
    EXPECT_STREQ(SafePointer<function_obj_base<int>>::typeName(), "17function_obj_baseIiE");
}

TEST_F(FunctionTest, PlainFunctionIsCalled) {
    {
        function<int> f(&fortyTwo);
        EXPECT_EQ(f(), 42);
        EXPECT_EQ(outstandingNow(), 1);
    }
    EXPECT_EQ(outstandingNow(), 0);
}

TEST_F(FunctionTest, BoundMemberIsCalledVirtually) {
    DerivedOwner owner;
    {
        function<int> f = bind_function<int, Owner>(&Owner::round, &owner);
        EXPECT_EQ(f(), 50);
        EXPECT_EQ(f(), 50);
    }
    EXPECT_EQ(owner.calls, 2);
    EXPECT_EQ(outstandingNow(), 0);
}

TEST_F(FunctionTest, NullFunctionPointerIsReportedAndThrown) {
    int (*none)() = nullptr;
    captureStdout();
    std::string message;
    try {
        function<int> f(none);
        ADD_FAILURE() << "no exception";
    } catch (const PXRuntimeError& error) {
        message = error.what();
    }
    std::string out = capturedStdout();
    EXPECT_EQ(message, "SafePointer Report:17function_obj_baseIiE Construct from NULL original pointer");
    EXPECT_EQ(out, "SafePointer Report:17function_obj_baseIiE Construct from NULL original pointer\n");
    EXPECT_EQ(outstandingNow(), 0);
}

TEST_F(FunctionTest, NullTargetIsReportedAndThrown) {
    captureStdout();
    EXPECT_THROW({ SafePointer<function_obj_base<int>> p(nullptr); }, PXRuntimeError);
    EXPECT_EQ(capturedStdout(), "SafePointer Report:17function_obj_baseIiE Construct from NULL original pointer\n");
    EXPECT_EQ(outstandingNow(), 0);
}

TEST_F(FunctionTest, CopiesShareOneTargetAndTheLastDeletesIt) {
    {
        function<int> a(new CountingTarget(7));
        EXPECT_EQ(outstandingNow(), 1);
        {
            function<int> b(a);
            function<int> c = b;
            EXPECT_EQ(b.safePointer().get(), a.safePointer().get());
            EXPECT_EQ(c.safePointer().refCount(), a.safePointer().refCount());
            EXPECT_EQ(c(), 7);
            EXPECT_EQ(outstandingNow(), 1);
        }
        EXPECT_EQ(g_destroyed.load(), 0);
        EXPECT_EQ(a(), 7);
    }
    EXPECT_EQ(g_destroyed.load(), 1);
    EXPECT_EQ(g_calls.load(), 2);
    EXPECT_EQ(outstandingNow(), 0);
}

TEST_F(FunctionTest, AssignmentReleasesTheOldTarget) {
    {
        function<int> a(new CountingTarget(1));
        function<int> b(new CountingTarget(2));
        EXPECT_EQ(outstandingNow(), 2);
        b = a;
        EXPECT_EQ(g_destroyed.load(), 1);
        EXPECT_EQ(outstandingNow(), 1);
        EXPECT_EQ(b(), 1);
        function<int>& alias = b;
        b = alias;
        EXPECT_EQ(b(), 1);
    }
    EXPECT_EQ(g_destroyed.load(), 2);
    EXPECT_EQ(outstandingNow(), 0);
}

TEST_F(FunctionTest, LastReferenceHandsTheCountBack) {
    SafePointer<function_obj_base<int>> p(new CountingTarget(3));
    EXPECT_EQ(outstandingNow(), 1);
    ASSERT_NE(p.refCount(), nullptr);
    EXPECT_EQ(p.refCount()->getPointer(), static_cast<void*>(p.get()));
    p.dec_reference();
    EXPECT_EQ(g_destroyed.load(), 1);
    EXPECT_EQ(p.get(), nullptr);
    EXPECT_EQ(outstandingNow(), 0);
    // Already released: a second release and the destructor do nothing.
    p.dec_reference();
    EXPECT_EQ(g_destroyed.load(), 1);
}

TEST_F(FunctionTest, CopyOfAReleasedPointerIsReported) {
    SafePointer<function_obj_base<int>> p(new CountingTarget(3));
    p.dec_reference();
    captureStdout();
    std::string message;
    try {
        SafePointer<function_obj_base<int>> copy(p);
        ADD_FAILURE() << "no exception";
    } catch (const PXRuntimeError& error) {
        message = error.what();
    }
    EXPECT_EQ(capturedStdout(), "SafePointer Report:17function_obj_baseIiE Construct from NULL <T>pointer\n");
    EXPECT_EQ(message, "SafePointer Report:17function_obj_baseIiE Construct from NULL <T>pointer");
    EXPECT_EQ(g_destroyed.load(), 1);
    EXPECT_EQ(outstandingNow(), 0);
}

TEST_F(FunctionTest, MismatchedCountPointerThrowsOnRelease) {
    int other = 0;
    {
        SafePointer<function_obj_base<int>> p(new CountingTarget(3));
        p.refCount()->setPointer(&other);
        captureStdout();
        try {
            p.dec_reference();
            ADD_FAILURE() << "no exception";
        } catch (const PXRuntimeError& error) {
            EXPECT_STREQ(error.what(), "not valid pointer in dec_reference");
        }
        // Thrown directly, without a report line.
        EXPECT_EQ(capturedStdout(), "");
        EXPECT_EQ(g_destroyed.load(), 0);
        // The count was left unlocked: it can be repaired and released.
        p.refCount()->setPointer(p.get());
    }
    EXPECT_EQ(g_destroyed.load(), 1);
    EXPECT_EQ(outstandingNow(), 0);
}

TEST_F(FunctionTest, MismatchedCountPointerThrowsOnCopy) {
    int other = 0;
    {
        SafePointer<function_obj_base<int>> p(new CountingTarget(3));
        p.refCount()->setPointer(&other);
        try {
            SafePointer<function_obj_base<int>> copy(p);
            ADD_FAILURE() << "no exception";
        } catch (const PXRuntimeError& error) {
            EXPECT_STREQ(error.what(), "not valid pointer in inc_reference");
        }
        p.refCount()->setPointer(p.get());
    }
    // The failed copy took no reference: one release deletes the target.
    EXPECT_EQ(g_destroyed.load(), 1);
    EXPECT_EQ(outstandingNow(), 0);
}

TEST_F(FunctionTest, CopiesAcrossThreads) {
    {
        function<int> shared(new CountingTarget(9));
        std::vector<std::thread> threads;
        std::atomic<int> sum{0};
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([shared, &sum] {
                for (int i = 0; i < 500; ++i) {
                    function<int> local(shared);
                    function<int> another = local;
                    sum += another();
                }
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(sum.load(), 4 * 500 * 9);
        EXPECT_EQ(g_destroyed.load(), 0);
        EXPECT_EQ(outstandingNow(), 1);
    }
    EXPECT_EQ(g_destroyed.load(), 1);
    EXPECT_EQ(outstandingNow(), 0);
}

TEST_F(FunctionTest, LastCopyReleasedOnAnotherThread) {
    function<int>* first = new function<int>(new CountingTarget(4));
    function<int>* second = new function<int>(*first);
    delete first;
    std::thread other([second] { delete second; });
    other.join();
    EXPECT_EQ(g_destroyed.load(), 1);
    EXPECT_EQ(outstandingNow(), 0);
}

TEST_F(FunctionTest, RuntimeErrorFromNullTextIsEmpty) {
    const char* none = nullptr;
    PXRuntimeError error(none);
    EXPECT_STREQ(error.what(), "");
    const char* text = "message";
    EXPECT_STREQ(PXRuntimeError(text).what(), "message");
}

} // namespace
