#include "analyticsFile.h"

#include "writeAll.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Nothing read counts as exhausted, whatever the reason. What sink makes of a block is deliberately not looked at:
// write errors do not change the handler's result. (When the reader of standard output has gone, SIGPIPE ends the
// process at the first block, unless it was handed down ignored.)
template<typename Sink>
int copyBlocks(std::FILE* source, int64_t limit, Sink sink) {
    char block[analytics_block_size];
    while (limit > 0) {
        const auto most = static_cast<std::size_t>(std::min<int64_t>(limit, sizeof block));
        const std::size_t length = std::fread(block, 1, most, source);
        if (length == 0) {
            return 0;
        }
        sink(block, length);
        if (std::ferror(source) != 0) {
            return -1;
        }
        limit -= static_cast<int64_t>(length);
    }
    return 0;
}

// Hands blocks on to a descriptor: the first ones as they come, so that a short file leaves just as it is read and a reader
// of a long one has something at once; those behind them several at a time, since a system call costs more than
// the 1024 bytes of a block.
class BlockWriter {
public:
    explicit BlockWriter(int descriptor) : descriptor_(descriptor) {}

    void take(const char* block, std::size_t length) {
        if (direct_ > 0) {
            --direct_;
            static_cast<void>(write_all(descriptor_, {block, length}));
            return;
        }
        if (length > sizeof gathered_ - used_) {
            flush();
        }
        std::memcpy(gathered_ + used_, block, length);
        used_ += length;
    }

    void flush() {
        if (used_ > 0) {
            static_cast<void>(write_all(descriptor_, {gathered_, used_}));
            used_ = 0;
        }
    }

private:
    int descriptor_;
    int direct_ = analytics_direct_blocks;
    std::size_t used_ = 0;
    char gathered_[analytics_gathered_size]; // deliberately not initialised: only what was put there is read
};

bool isDirectory(std::FILE* file) {
    struct stat status {};
    return fstat(fileno(file), &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

std::FILE* analytics_open(const char* path) {
    const int descriptor = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0) {
        return nullptr;
    }
    std::FILE* const file = fdopen(descriptor, "rb");
    if (file == nullptr) {
        close(descriptor);
    }
    return file;
}

int analytics_seek_end(std::FILE* file, int32_t& size) {
    // Some file systems let a directory be sought through, but none lets it be read.
    if (isDirectory(file) || fseeko(file, 0, SEEK_END) != 0) {
        return -1;
    }
    const off_t end = ftello(file);
    if (end < 0 || end > std::numeric_limits<int32_t>::max()) {
        return -1;
    }
    size = static_cast<int32_t>(end);
    return 0;
}

int analytics_seek_start(std::FILE* file) {
    return fseeko(file, 0, SEEK_SET) == 0 ? 0 : -1;
}

int analytics_copy(std::FILE* destination, std::FILE* source) {
    return copyBlocks(source, std::numeric_limits<int64_t>::max(),
                      [destination](const char* block, std::size_t length) {
                          static_cast<void>(std::fwrite(block, 1, length, destination));
                      });
}

int analytics_send(int descriptor, std::FILE* source, int32_t limit) {
    BlockWriter writer(descriptor);
    const int result = copyBlocks(
        source, limit, [&writer](const char* block, std::size_t length) { writer.take(block, length); });
    writer.flush();
    return result;
}
