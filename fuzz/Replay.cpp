// Runs a fuzzer's function over each file of a folder, and over every truncation and every change of a single byte of
// it, without a fuzzing engine: an ordinary test.
#include "Fuzz.h"
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace
{

using Bytes = std::vector<std::uint8_t>;

std::size_t g_runs;

void Run(const Bytes &bytes)
{
    ++g_runs;
    // In memory of just this size, so that a read beyond it is seen.
    const Bytes exact(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

void RunWithChanges(Bytes bytes)
{
    Run(bytes);
    for (std::size_t size = 0; size < bytes.size(); ++size)
        Run(Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)));
    for (std::uint8_t &byte : bytes) {
        const std::uint8_t whole = byte;
        for (int change = 1; change < 256; ++change) {
            byte = static_cast<std::uint8_t>(whole ^ change);
            Run(bytes);
        }
        byte = whole;
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    std::size_t files = 0;
    for (const auto &entry : std::filesystem::directory_iterator(argv[1])) {
        std::ifstream file(entry.path(), std::ios::binary);
        RunWithChanges({std::istreambuf_iterator<char>(file), {}});
        ++files;
    }
    std::printf("%zu files, %zu runs\n", files, g_runs);
    return files ? 0 : 1;
}
