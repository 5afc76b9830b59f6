/*
 * The command line of the resident program.
 */
#pragma once

#include <string>
#include <sys/types.h>

struct ScgiOptions {
    std::string socket; // path; empty: the socket is inherited
    mode_t mode = 0660; // of the path
    uid_t user = static_cast<uid_t>(-1);
    gid_t group = static_cast<gid_t>(-1);
    unsigned children = 64; // at once
    bool help = false;
};

/* What --help prints. */
extern const char* const scgiUsage;

/* Reads the arguments of main into options. Empty; or what is wrong with them, in one line. */
std::string readScgiOptions(int argc, char** argv, ScgiOptions& options);
