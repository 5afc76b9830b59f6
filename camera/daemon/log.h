// Log lines of a daemon: to syslog(3), under the daemon's name.
#pragma once

namespace zvcamera {

// Every line begins with the name and the process id. The name must stay alive.
void openLog(const char* name);

// LOG_ERR: something was refused, lost or is wrong.
[[gnu::format(printf, 1, 2)]] void logError(const char* format, ...);
// LOG_INFO: what the daemon did.
[[gnu::format(printf, 1, 2)]] void logInfo(const char* format, ...);

} // namespace zvcamera
