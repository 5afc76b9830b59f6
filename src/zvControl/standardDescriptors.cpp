#include "standardDescriptors.h"

#include <fcntl.h>
#include <iterator>
#include <poll.h>
#include <unistd.h>

void openStandardDescriptors() {
    pollfd standard[] = {{STDIN_FILENO, 0, 0}, {STDOUT_FILENO, 0, 0}, {STDERR_FILENO, 0, 0}};
    if (poll(standard, std::size(standard), 0) <= 0) {
        return;
    }
    for (const pollfd& descriptor : standard) {
        // Each opening takes the lowest number that is free. Without a null device a folder takes it, which refuses
        // what is written to it.
        if ((descriptor.revents & POLLNVAL) != 0 && open("/dev/null", O_RDWR) < 0) {
            static_cast<void>(open("/", O_RDONLY | O_DIRECTORY));
        }
    }
}
