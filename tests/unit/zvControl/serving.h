// One request, served by the program's entry.
#pragma once

#include <string>

struct Served {
    int result;
    std::string output;
    std::string errors;
};

// Serves the request that the two variables describe; null: the variable is not set.
Served serve(const char* path, const char* params);

// The same while operator new gives at most so many bytes at a time.
Served serveWithin(std::size_t most, const char* path, const char* params);

// From now on this is the dispatcher's answer to every request: its result, and the text that it leaves in the buffer.
void answerWith(int result, const std::string& text = "");
