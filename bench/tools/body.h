// What arrives for an HTTP request: whether it is an answer with status 200, and how much of a body is in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Takes an answer in pieces, as they arrive. The server marks the end of the body by a length, by chunks, or by the end
// of the connection.
class Body {
public:
    // The first bytes of the body are kept; the rest is only counted, since reading it twice would cost time.
    static constexpr std::size_t keptText = 4096;

    void take(std::string_view piece);

    // Whether the answer, now at its end, has status 200 and all of its body.
    [[nodiscard]] bool complete() const { return part_ == Part::End || part_ == Part::UntilClosed; }

    [[nodiscard]] std::int64_t size() const { return size_; }
    [[nodiscard]] const std::string& text() const { return text_; }

private:
    enum class Part { Head, Counted, UntilClosed, ChunkSize, Chunk, ChunkEnd, Trailer, End, Wrong };

    void takeHead(std::string_view& piece);
    void takeBody(std::string_view& piece);
    void takeLine(std::string_view& piece);
    void readHead();
    void readChunkSize();

    Part part_ = Part::Head;
    std::string line_; // what has arrived of the head, or of a line between chunks
    std::string text_;
    std::int64_t size_ = 0;
    std::int64_t left_ = 0; // of the body, or of the chunk
};
