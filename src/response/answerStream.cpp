#include "answerStream.h"

#include <algorithm>
#include <cstddef>
#include <string>

std::string_view AnswerBuffer::text() const {
    const char* const end = std::max(pptr(), egptr()); // whoever wrote may have moved back
    return {pbase(), static_cast<std::size_t>(end - pbase())};
}

AnswerBuffer::int_type AnswerBuffer::overflow(int_type character) try {
    return std::stringbuf::overflow(character);
} catch (...) {
    lacksMemory_ = true;
    throw;
}

AnswerStream::AnswerStream() : std::iostream(nullptr) {
    rdbuf(&buffer_);
}

void AnswerStream::setText(std::string_view text) {
    buffer_.str(std::string(text));
    clear();
    seekp(0, std::ios::end);
}
