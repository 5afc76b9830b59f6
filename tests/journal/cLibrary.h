// What the functions in front of the C library have in common.
#pragma once

#include "script.h"

#include <cerrno>
#include <dlfcn.h>

// The scripted answer of a call that gives -1 and errno on failure.
inline int answer(const char* name, int otherwise, int error) {
    const int result = script::number(name, otherwise);
    errno = result == -1 ? error : errno;
    return result;
}

// The C library's own function.
template<typename Function>
Function* real(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
