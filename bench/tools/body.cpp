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
        case Part::head:
            takeHead(piece);
            break;
        case Part::counted:
        case Part::untilClosed:
        case Part::chunk:
            takeBody(piece);
            break;
        case Part::chunkSize:
        case Part::chunkEnd:
        case Part::trailer:
            takeLine(piece);
            break;
        case Part::end: // more than there should be
        case Part::wrong:
            part_ = Part::wrong;
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
        part_ = line_.size() > longestLine ? Part::wrong : Part::head;
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
        part_ = Part::wrong;
    } else if (field(line_, "transfer-encoding") == "chunked") {
        part_ = Part::chunkSize;
    } else if (length.empty()) {
        part_ = Part::untilClosed;
    } else {
        part_ = left_ > 0 ? Part::counted : Part::end;
    }
}

void Body::takeBody(std::string_view& piece) {
    std::size_t count = piece.size();
    if (part_ != Part::untilClosed) {
        count = static_cast<std::size_t>(std::min(static_cast<std::int64_t>(count), left_));
        left_ -= static_cast<std::int64_t>(count);
    }
    if (text_.size() < keptText) {
        text_ += piece.substr(0, std::min(count, keptText - text_.size()));
    }
    size_ += static_cast<std::int64_t>(count);
    piece.remove_prefix(count);
    if (part_ != Part::untilClosed && left_ == 0) {
        part_ = part_ == Part::chunk ? Part::chunkEnd : Part::end;
    }
}

void Body::takeLine(std::string_view& piece) {
    const std::size_t end = piece.find('\n');
    line_ += piece.substr(0, end);
    piece.remove_prefix(end == std::string_view::npos ? piece.size() : end + 1);
    if (end == std::string_view::npos) {
        part_ = line_.size() > longestLine ? Part::wrong : part_;
        return;
    }
    const bool empty = line_ == "\r";
    if (part_ == Part::chunkSize) {
        readChunkSize();
    } else if (part_ == Part::chunkEnd) {
        part_ = empty ? Part::chunkSize : Part::wrong;
    } else {
        part_ = empty ? Part::end : Part::trailer;
    }
    line_.clear();
}

void Body::readChunkSize() {
    if (!readNumber(line_, 16, left_)) {
        part_ = Part::wrong;
    } else {
        part_ = left_ > 0 ? Part::chunk : Part::trailer;
    }
}
