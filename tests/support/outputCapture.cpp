#include "outputCapture.h"

#include <cstdio>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

namespace zvtest {

OutputCapture::OutputCapture(int descriptor)
    : descriptor_(descriptor),
      saved_(dup(descriptor)),
      memory_(memfd_create("output", MFD_CLOEXEC)) {
    std::fflush(nullptr);
    if (saved_ < 0 || memory_ < 0 || dup2(memory_, descriptor_) < 0) {
        std::perror("capturing output");
        std::abort();
    }
}

OutputCapture::~OutputCapture() {
    std::fflush(nullptr);
    dup2(saved_, descriptor_);
    close(saved_);
    close(memory_);
}

std::string OutputCapture::text() const {
    std::fflush(nullptr);
    std::string all;
    char block[4096];
    for (;;) {
        const ssize_t length = pread(memory_, block, sizeof block, static_cast<off_t>(all.size()));
        if (length <= 0) {
            return all;
        }
        all.append(block, static_cast<std::size_t>(length));
    }
}

} // namespace zvtest
