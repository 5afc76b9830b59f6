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
// Without the closing slash, which would hide that something other than a folder stands there.
constexpr const char* folderEntry = "/tmp/fuse_d/MISC";
constexpr const char* cardFile = "/tmp/fuse_d/MISC/card";
constexpr int draws = 10;

// Reads the first line, its line end included, as far as it fits; false when there is nothing to read.
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
    const int file = open(cardFile, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return false;
    }
    const bool found = readLine(file, out);
    close(file);
    return found;
}

long long draw() {
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    int number = 0;
    for (int i = 0; i < draws && number == 0; ++i) {
        number = std::rand(); // NOLINT(cert-msc30-c,cert-msc50-cpp): an identifier, not a secret
    }
    return number;
}

int storeNew(char* out) {
    const int file = open(cardFile, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file < 0) {
        // The two blanks are deliberate: the text is fixed, for those who watch standard error for it.
        std::fprintf(stderr, "Failed to create file  %s\n", cardFile);
        return -1;
    }
    const long long number = draw();
    if (number == 0) {
        // The file stays open and empty, deliberately: the next call finds nothing in it and tries again.
        std::fprintf(stderr, "Failed to get random number\n");
        return -1;
    }
    std::snprintf(out, ZV_CARD_ID_SIZE, "%lld", number * number - 1);
    const std::size_t length = std::strlen(out);
    const bool written = write(file, out, length) == static_cast<ssize_t>(length);
    close(file);
    if (!written) {
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
    } else if (mkdir(folder, 0777) != 0) {
        std::fprintf(stderr, "Failed to create folder:%s\n", folder);
        return -1;
    }
    return storeNew(out);
}
