// A library that starts a thread while it is loaded.
#include <thread>
#include <unistd.h>

namespace {

[[gnu::constructor]] void start() {
    std::thread([] {
        for (;;) {
            pause();
        }
    }).detach();
}

} // namespace
