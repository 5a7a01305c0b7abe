#pragma once
// Counts the ISP calls the library makes through doIaCmd, per thread, so an
// operation can tell how many calls it sent: the difference of two readings
// on its own thread, untouched by other threads' calls.
namespace tarnix {

// Called once for every ia_ioctrl_v2 call doIaCmd makes.
void countIspCall();
// ISP calls counted on the calling thread so far.
unsigned long long ispCallsOnThisThread();

} // namespace tarnix
