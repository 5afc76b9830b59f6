#include "uniqueFd.h"
#include "zvUtil.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* folder = "/tmp/fuse_d/MISC/";
// Without the closing slash: with it, stat fails where a file stands in the folder's place.
constexpr const char* folderEntry = "/tmp/fuse_d/MISC";
constexpr const char* cardFile = "/tmp/fuse_d/MISC/card";
constexpr int mostDraws = 10;
constexpr mode_t folderMode = 0777; // as the umask leaves them
constexpr mode_t fileMode = 0666;

// Reads the first line with its line end, cut to the buffer. False when there is nothing to read.
bool readLine(int file, char* out) {
    std::size_t length = 0;
    while (length < ZV_CARD_ID_SIZE - 1 && read(file, out + length, 1) == 1) {
        if (out[length++] == '\n') {
            break;
        }
    }
    if (length > 0) {
        out[length] = '\0';
    }
    return length > 0;
}

bool readStored(char* out) {
    const zv::UniqueFd file(open(cardFile, O_RDONLY | O_CLOEXEC));
    return file.ok() && readLine(file.get(), out);
}

// A number above 0; 0 when none came in ten draws.
long long draw() {
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    int number = 0;
    for (int i = 0; i < mostDraws && number == 0; ++i) {
        number = std::rand(); // NOLINT(cert-msc30-c,cert-msc50-cpp): an identifier, not a secret
    }
    return number;
}

int storeNew(char* out) {
    zv::UniqueFd file(open(cardFile, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, fileMode));
    if (!file.ok()) {
        // Fixed: two blanks; watchers of standard error look for this text.
        std::fprintf(stderr, "Failed to create file  %s\n", cardFile);
        return -1;
    }
    const long long number = draw();
    if (number == 0) {
        // Fixed: the file stays open and empty; the next call finds nothing in it and draws again.
        static_cast<void>(file.release());
        std::fprintf(stderr, "Failed to get random number\n");
        return -1;
    }
    std::snprintf(out, ZV_CARD_ID_SIZE, "%lld", number * number - 1);
    const std::size_t length = std::strlen(out);
    if (write(file.get(), out, length) != static_cast<ssize_t>(length)) {
        std::fprintf(stderr, "Failed to get write card_id to file\n");
        return -1;
    }
    return 0;
}

} // namespace

int getCardIDStr(char* out) {
    if (out == nullptr) {
        std::fprintf(stderr, "Cannot call with null pointer\n");
        return -1;
    }
    out[0] = '0';
    out[1] = '\0';

    struct stat found {};
    if (stat(folderEntry, &found) == 0) {
        if (!S_ISDIR(found.st_mode)) {
            std::fprintf(stderr, "Path:%s exists and is a NOT folder\n", folder);
            return -1;
        }
        if (readStored(out)) {
            return 0;
        }
    } else if (mkdir(folder, folderMode) != 0) {
        std::fprintf(stderr, "Failed to create folder:%s\n", folder);
        return -1;
    }
    return storeNew(out);
}
