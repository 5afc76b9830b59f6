// Runs the function of a program of fuzz/ over saved inputs: the files of the folders that are given.
#include "fuzzInput.h"

#include <filesystem>
#include <fstream>
#include <iterator>

int main(int argc, char** argv) {
    std::size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            std::fprintf(stderr, "%s\n", entry.path().c_str());
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<char> read{std::istreambuf_iterator<char>(file), {}};
            // In a block of just this size, so that a read behind its end is seen.
            const zvfuzz::Bytes input(read.begin(), read.end());
            LLVMFuzzerTestOneInput(input.data(), input.size());
            ++count;
        }
    }
    std::printf("%zu inputs\n", count);
    return count > 0 ? 0 : 1;
}
