/*
 * Delivery of an answer: it is composed in memory first, and then written to standard output in one piece.
 */
#pragma once

#include "answerStream.h"

#include <string_view>

/*
 * Writes to standard output, behind what has been printed through stdio: reports of the support library, for example.
 * Failures are not looked at. Logs nothing.
 */
void writeOutput(std::string_view text);

/*
 * Writes the answer that was composed in a stream to standard output. False, and nothing written, when memory ran out
 * while it was composed. True otherwise, also when the stream is bad for another reason, or standard output refuses
 * the answer. Logs nothing.
 */
bool writeAnswer(AnswerStream& stream);
