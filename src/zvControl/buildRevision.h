/*
 * The source revision that the program was built from.
 */
#pragma once

/* 40 lower-case hexadecimal digits; 40 zeros when it was built outside a repository. */
extern const char buildRevision[41];
