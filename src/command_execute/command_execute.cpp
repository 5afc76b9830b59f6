#include "command_execute.h"

#include "answerStream.h"
#include "executeRequest.h"
#include "program.h"
#include "statusAnswer.h"
#include "writeAnswer.h"
#include "zvErrno.h"

namespace {

bool carryOut(ExecEntries& entries, int count, std::ostream& stream) {
    for (int index = 0; index < count; ++index) {
        if (executeCommand(&entries[static_cast<std::size_t>(index)], stream) != 0) {
            return false;
        }
    }
    return true;
}

} // namespace

int handle_command_execute(const char* params, char* /*response*/, int /*responseSize*/) try {
    watchMemory();
    AnswerStream stream;
    write_header(stream);
    ExecEntries entries;
    const int count = readEntries(params, entries, stream);
    if (lacksMemory(stream)) { // nothing is carried out that could not be answered
        return ZV_ERR_OUTOFMEM;
    }
    if (count > 0 && carryOut(entries, count, stream)) {
        write_status_ok(stream);
    }
    return writeAnswer(stream) ? ZV_ERR_RESPONSE_ALREADY_SENT : ZV_ERR_OUTOFMEM;
} catch (...) {
    return ZV_ERR_OUTOFMEM;
}
