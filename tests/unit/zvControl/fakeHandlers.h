// Handlers and hooks in the place of the modules': each leaves its name in the platform's journal.
#pragma once

namespace zvtest {

// What the handlers answer: a text for the response buffer, and a result.
struct FakeHandlers {
    const char* text = "";
    int result = 0;
};

FakeHandlers& fakeHandlers();

} // namespace zvtest
