#include "writeAnswer.h"

#include "writeAll.h"

#include <cerrno>
#include <cstdio>
#include <unistd.h>
#include <utility>

namespace {

int firstError = 0;

} // namespace

bool writePart(int descriptor, std::string_view part) {
    const bool written = zv::writeAll(descriptor, part);
    if (!written && firstError == 0) {
        firstError = errno;
    }
    return written;
}

bool writeOutput(std::string_view text) {
    static_cast<void>(std::fflush(stdout));
    return writePart(STDOUT_FILENO, text);
}

int takeOutputError() {
    return std::exchange(firstError, 0);
}

bool writeAnswer(AnswerStream& stream) {
    if (lacksMemory(stream)) {
        return false;
    }
    static_cast<void>(writeOutput(textOf(stream)));
    return true;
}
