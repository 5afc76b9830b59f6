#include "scgiChild.h"

#include "scgiRequest.h"
#include "zvLog.h"

#include <cerrno>
#include <cstdlib>
#include <sys/prctl.h>
#include <unistd.h>
#include <utility>

namespace {

char programName[] = "zvControl-cgi-bin";

// For process lists and killall, and for the log, which shows it before each line.
void takeName() {
    prctl(PR_SET_NAME, programName);
    program_invocation_short_name = programName;
}

void putAt(int standard, zv::UniqueFd descriptor) {
    dup2(descriptor.get(), standard);
}

} // namespace

int serveScgiConnection(zv::UniqueFd connection, int (*entry)(), std::chrono::milliseconds limit) {
    takeName();
    ScgiRequest request;
    if (const char* const reason = receiveScgiRequest(connection.get(), limit, request); reason != nullptr) {
        ZV_LOG_AT(UTIL_LOG_ERROR, __LINE__, "zvControl", "Refused a request: %s\n", reason);
        return EXIT_FAILURE;
    }
    environ = request.environment;
    putAt(STDIN_FILENO, std::move(request.body));
    putAt(STDOUT_FILENO, std::move(connection));
    return entry();
}
