#include "body.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace {

constexpr std::size_t longestLine = 65536;

// A number of the given base that the text starts with.
bool readNumber(std::string_view text, int base, std::int64_t& value) {
    return std::from_chars(text.data(), text.data() + text.size(), value, base).ec == std::errc() && value >= 0;
}

// The value of a field of the head, which is in lower case; empty when the field is absent.
std::string_view field(std::string_view head, std::string_view name) {
    const std::size_t at = head.find("\r\n" + std::string(name) + ":");
    if (at == std::string_view::npos) {
        return {};
    }
    std::string_view value = head.substr(at + 2 + name.size() + 1);
    value = value.substr(0, value.find("\r\n"));
    value.remove_prefix(std::min(value.find_first_not_of(' '), value.size()));
    return value;
}

} // namespace

void Body::take(std::string_view piece) {
    while (!piece.empty()) {
        switch (part_) {
        case Part::Head:
            takeHead(piece);
            break;
        case Part::Counted:
        case Part::UntilClosed:
        case Part::Chunk:
            takeBody(piece);
            break;
        case Part::ChunkSize:
        case Part::ChunkEnd:
        case Part::Trailer:
            takeLine(piece);
            break;
        case Part::End: // more than there should be
        case Part::Wrong:
            part_ = Part::Wrong;
            return;
        }
    }
}

void Body::takeHead(std::string_view& piece) {
    const std::size_t before = line_.size();
    line_ += piece;
    const std::size_t end = line_.find("\r\n\r\n");
    if (end == std::string::npos) {
        piece = {};
        part_ = line_.size() > longestLine ? Part::Wrong : Part::Head;
        return;
    }
    piece.remove_prefix(end + 4 - before);
    line_.resize(end + 2);
    readHead();
    line_.clear();
}

void Body::readHead() {
    const bool good = line_.starts_with("HTTP/1.") && line_.substr(8, 5) == " 200 ";
    std::transform(line_.begin(), line_.end(), line_.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    const std::string_view length = field(line_, "content-length");
    if (!good || (!length.empty() && !readNumber(length, 10, left_))) {
        part_ = Part::Wrong;
    } else if (field(line_, "transfer-encoding") == "chunked") {
        part_ = Part::ChunkSize;
    } else if (length.empty()) {
        part_ = Part::UntilClosed;
    } else {
        part_ = left_ > 0 ? Part::Counted : Part::End;
    }
}

void Body::takeBody(std::string_view& piece) {
    std::size_t count = piece.size();
    if (part_ != Part::UntilClosed) {
        count = static_cast<std::size_t>(std::min(static_cast<std::int64_t>(count), left_));
        left_ -= static_cast<std::int64_t>(count);
    }
    if (text_.size() < keptText) {
        text_ += piece.substr(0, std::min(count, keptText - text_.size()));
    }
    size_ += static_cast<std::int64_t>(count);
    piece.remove_prefix(count);
    if (part_ != Part::UntilClosed && left_ == 0) {
        part_ = part_ == Part::Chunk ? Part::ChunkEnd : Part::End;
    }
}

void Body::takeLine(std::string_view& piece) {
    const std::size_t end = piece.find('\n');
    line_ += piece.substr(0, end);
    piece.remove_prefix(end == std::string_view::npos ? piece.size() : end + 1);
    if (end == std::string_view::npos) {
        part_ = line_.size() > longestLine ? Part::Wrong : part_;
        return;
    }
    const bool empty = line_ == "\r";
    if (part_ == Part::ChunkSize) {
        readChunkSize();
    } else if (part_ == Part::ChunkEnd) {
        part_ = empty ? Part::ChunkSize : Part::Wrong;
    } else {
        part_ = empty ? Part::End : Part::Trailer;
    }
    line_.clear();
}

void Body::readChunkSize() {
    if (!readNumber(line_, 16, left_)) {
        part_ = Part::Wrong;
    } else {
        part_ = left_ > 0 ? Part::Chunk : Part::Trailer;
    }
}
