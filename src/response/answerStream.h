/*
 * The text stream that an answer is composed in.
 */
#pragma once

#include <ostream>
#include <sstream>
#include <string_view>

/*
 * The stream's text, which remembers that it got no memory. The stream shows that by its bad state alone, and a null
 * text that was put into it leaves the same state.
 */
class AnswerBuffer : public std::stringbuf {
public:
    bool lacksMemory() const { return lacksMemory_; }
    std::string_view text() const;

protected:
    int_type overflow(int_type character) override;

private:
    bool lacksMemory_ = false;
};

/*
 * A stream for reading and writing. What is put into it behind a null text is lost until its state is cleared.
 */
class AnswerStream : public std::iostream {
public:
    AnswerStream();

    /* True once memory ran out while something was put into the stream: it holds a part of its answer at most. */
    bool lacksMemory() const { return buffer_.lacksMemory(); }

    /* All that the stream holds; valid until something else is put into it. */
    std::string_view text() const { return buffer_.text(); }

    /* Replaces what the stream holds, and clears its state. Throws std::bad_alloc. */
    void setText(std::string_view text);

private:
    AnswerBuffer buffer_;
};
