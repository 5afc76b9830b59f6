// Captures what this process writes to one of its descriptors, standard output or standard error.
#pragma once

#include <string>

namespace zvtest {

class OutputCapture {
public:
    // Leads the descriptor into memory; ends the test program when it cannot.
    explicit OutputCapture(int descriptor);
    // Leads the descriptor back.
    ~OutputCapture();
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    // All that was written so far.
    std::string text() const;

private:
    int descriptor_;
    int saved_;
    int memory_;
};

} // namespace zvtest
