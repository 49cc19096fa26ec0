// Threads that nobody waits for.
#pragma once

#include <functional>

namespace kxsim {

// Runs the action on a thread of its own. std::thread::detach() will not do: the compiler's thread library
// hands the record of a detached thread that ends to the next one that starts, and has been seen to do so
// before it was done with it, so that the new thread had no function.
void runInBackground(std::function<void()> action);

}  // namespace kxsim
