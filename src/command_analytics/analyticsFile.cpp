#include "analyticsFile.h"

#include "openForReading.h"
#include "writeAnswer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Reads pieces of size() bytes into room and hands them to sink, up to limit bytes in all. A source that gives nothing
// is at its end, whatever the reason. The sink's failures are not looked at: the handler's result does not depend on
// them.
template<typename Size, typename Sink>
int copyPieces(std::FILE* source, std::int64_t limit, char* room, Size size, Sink sink) {
    while (limit > 0) {
        const auto most = static_cast<std::size_t>(std::min(limit, static_cast<std::int64_t>(size())));
        const std::size_t length = std::fread(room, 1, most, source);
        if (length == 0) {
            return 0;
        }
        sink(room, length);
        if (std::ferror(source) != 0) {
            return -1;
        }
        limit -= static_cast<std::int64_t>(length);
    }
    return 0;
}

bool isDirectory(std::FILE* file) {
    struct stat status {};
    return fstat(fileno(file), &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

std::FILE* openAnalytics(const char* path) {
    const int descriptor = zv::openForReading(path);
    if (descriptor < 0) {
        return nullptr;
    }
    std::FILE* const file = fdopen(descriptor, "rb");
    if (file == nullptr) {
        close(descriptor);
    }
    return file;
}

int seekAnalyticsEnd(std::FILE* file, std::int32_t& size) {
    // Some file systems seek in a directory, but none reads one.
    if (isDirectory(file) || fseeko(file, 0, SEEK_END) != 0) {
        return -1;
    }
    const off_t end = ftello(file);
    if (end < 0 || end > std::numeric_limits<std::int32_t>::max()) {
        return -1;
    }
    size = static_cast<std::int32_t>(end);
    return 0;
}

int seekAnalyticsStart(std::FILE* file) {
    return fseeko(file, 0, SEEK_SET) == 0 ? 0 : -1;
}

int copyAnalytics(std::FILE* destination, std::FILE* source) {
    char block[analyticsBlockSize];
    return copyPieces(
        source, std::numeric_limits<std::int64_t>::max(), block, [] { return sizeof block; },
        [destination](const char* piece, std::size_t length) {
            static_cast<void>(std::fwrite(piece, 1, length, destination));
        });
}

int sendAnalytics(int descriptor, std::FILE* source, std::int32_t limit) {
    char pieces[analyticsGatheredSize];
    int direct = analyticsDirectBlocks;
    // Block by block at first, so that the reader has something at once; then many blocks at a time, since a system
    // call costs more than a block's bytes. So large a read passes through no other buffer.
    return copyPieces(
        source, limit, pieces, [&direct] { return direct > 0 ? (--direct, analyticsBlockSize) : sizeof pieces; },
        [descriptor](const char* piece, std::size_t length) {
            static_cast<void>(writePart(descriptor, {piece, length}));
        });
}
