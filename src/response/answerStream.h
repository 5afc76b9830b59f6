/*
 * The text stream that an answer is composed in, and whether memory ran out meanwhile.
 *
 * A stream shows a lack of memory by its bad state alone, and a null text that is put into it leaves the same state.
 * So these functions look whether operator new failed.
 */
#pragma once

#include <sstream>
#include <string_view>

using AnswerStream = std::stringstream;

#if _GLIBCXX_USE_CXX11_ABI
using AnswerText = std::string_view;
#else
// Built for a closed library with the string type of before C++11: the streams of that time only give copies.
using AnswerText = std::string;
#endif

/* Notes from now on when operator new fails, and forgets what has been noted. Called before an answer is composed. */
void watchMemory();

/* True when memory ran out while something was put into the stream: it holds a part of its answer at most. */
bool lacksMemory(AnswerStream& stream);

/* Clears the stream's bad state, which a null text leaves; a lack of memory stays known. */
void goOn(std::iostream& stream);

/* All that the stream holds; valid until something else is put into it. */
AnswerText textOf(const AnswerStream& stream);

/* Replaces what the stream holds, and clears its state. Throws std::bad_alloc. */
void replaceText(AnswerStream& stream, std::string_view text);
