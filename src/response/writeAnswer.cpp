#include "writeAnswer.h"

#include "writeAll.h"

#include <cstdio>
#include <unistd.h>

void writeOutput(std::string_view text) {
    static_cast<void>(std::fflush(stdout));
    static_cast<void>(zv::writeAll(STDOUT_FILENO, text));
}

bool writeAnswer(AnswerStream& stream) {
    if (lacksMemory(stream)) {
        return false;
    }
    writeOutput(textOf(stream));
    return true;
}
