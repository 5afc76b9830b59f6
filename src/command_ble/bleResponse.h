// Leaving a command's answer in the response buffer.
#pragma once

// Leaves a zero-terminated text in the response buffer, which may be null, of responseSize bytes. 0; -1 and a log line
// when it does not fit, and the buffer is untouched.
int writeResponse(const char* text, char* response, int responseSize);
