/*
 * Delivery of an answer: it is composed in memory first, and then written to standard output in one piece.
 */
#pragma once

#include "answerStream.h"

#include <string_view>

/*
 * Writes a part of an answer to a descriptor. False when the descriptor refuses it; the first error number is kept for
 * takeOutputError. Logs nothing.
 */
bool writePart(int descriptor, std::string_view part);

/*
 * The same to standard output, behind what has been printed through stdio: reports of the support library, for example.
 */
bool writeOutput(std::string_view text);

/* The error number of the first part that was refused, which is forgotten then; 0 when none was. */
int takeOutputError();

/*
 * Writes the answer that was composed in a stream to standard output. False, and nothing written, when memory ran out
 * while it was composed. True otherwise, also when the stream is bad for another reason, or standard output refuses
 * the answer (takeOutputError tells this). Logs nothing.
 */
bool writeAnswer(AnswerStream& stream);
