#include "standardDescriptors.h"

#include <fcntl.h>
#include <iterator>
#include <poll.h>
#include <unistd.h>

int openNothing() {
    const int descriptor = open("/dev/null", O_RDWR);
    return descriptor >= 0 ? descriptor : open("/", O_RDONLY | O_DIRECTORY);
}

void openStandardDescriptors() {
    pollfd standard[] = {{STDIN_FILENO, 0, 0}, {STDOUT_FILENO, 0, 0}, {STDERR_FILENO, 0, 0}};
    if (poll(standard, std::size(standard), 0) <= 0) {
        return;
    }
    for (const pollfd& descriptor : standard) {
        if ((descriptor.revents & POLLNVAL) != 0) {
            static_cast<void>(openNothing()); // takes the lowest number that is free
        }
    }
}
