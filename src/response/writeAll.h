/*
 * Delivery of a composed response: everything that the program answers is put together in memory first and then handed
 * to standard output in one piece.
 */
#pragma once

#include <sstream>
#include <string_view>

/*
 * Writes the whole text to a descriptor with write(2), however little each call takes; an interrupted call is repeated,
 * and a descriptor that would block is waited for. False when the descriptor refuses (the rest is then not written);
 * nothing is logged. A pipe without a reader refuses only where SIGPIPE is ignored; elsewhere the signal ends the
 * process.
 */
bool write_all(int descriptor, std::string_view text);

/*
 * Writes the answer that was composed in a stream to standard output. False, and nothing written, when the stream is
 * bad: a stream keeps to itself that it got no memory, and what it holds then is half an answer at most. What becomes
 * of the writing is not told.
 */
bool write_answer(const std::stringstream& stream);
