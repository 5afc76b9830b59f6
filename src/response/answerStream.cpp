#include "answerStream.h"

#include <new>
#include <string>

namespace {

bool ranOut = false;
std::new_handler previous = nullptr;

void noteLack() {
    ranOut = true;
    if (previous == nullptr) {
        throw std::bad_alloc();
    }
    previous();
}

// The stream's own note: memory ran out before its state was cleared.
long& lackedBefore(std::ios_base& stream) {
    static const int place = std::ios_base::xalloc();
    return stream.iword(place);
}

bool lacksNow(const std::ios& stream) {
    return ranOut && stream.bad();
}

} // namespace

void watchMemory() {
    ranOut = false;
    const std::new_handler before = std::set_new_handler(noteLack);
    previous = before == noteLack ? previous : before;
}

bool lacksMemory(AnswerStream& stream) {
    return lacksNow(stream) || lackedBefore(stream) != 0;
}

void goOn(std::iostream& stream) {
    if (lacksNow(stream)) {
        lackedBefore(stream) = 1;
    }
    stream.clear();
}

AnswerText textOf(const AnswerStream& stream) {
#if _GLIBCXX_USE_CXX11_ABI
    return stream.view();
#else
    return stream.str();
#endif
}

void replaceText(AnswerStream& stream, std::string_view text) {
    stream.str(std::string(text));
    goOn(stream);
    stream.seekp(0, std::ios::end);
}
