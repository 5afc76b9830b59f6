#include "writeAnswer.h"

#include "writeAll.h"

#include <unistd.h>

bool writeAnswer(const AnswerStream& stream) {
    if (stream.lacksMemory()) {
        return false;
    }
    static_cast<void>(zv::writeAll(STDOUT_FILENO, stream.text()));
    return true;
}
