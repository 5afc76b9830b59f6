// The memory that a program takes.
#pragma once

// Runs the program at path with this process's environment and standard output thrown away, and returns the most memory
// in KiB that it held at once, pages shared with others included; status is then as waitpid has it. 0 with errno when
// it cannot be run.
//
// What wait4 tells is something else: a new process begins in the memory of the one that started it, and its peak is
// counted from there.
long peakMemory(char* path, int& status);
