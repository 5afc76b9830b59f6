/*
 * Delivery of an answer: it is composed in memory first, and then written to standard output in one piece.
 */
#pragma once

#include <sstream>

/*
 * Writes the answer that was composed in a stream to standard output. False, and nothing written, when the stream is
 * bad: memory ran out while the answer was composed, and the stream holds half of it at most. True otherwise, also when
 * standard output refuses the answer. Logs nothing.
 */
bool writeAnswer(const std::stringstream& stream);
