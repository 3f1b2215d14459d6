// Runs a fuzz target over every file of a folder once, for builds without a fuzzer.
#include "fuzz.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

int main(int nArguments, char** ppszArguments)
{
    int nFiles = 0;
    for (int nArgument = 1; nArgument < nArguments; ++nArgument) {
        for (const auto& rEntry : std::filesystem::directory_iterator(ppszArguments[nArgument])) {
            std::ifstream file(rEntry.path(), std::ios::binary);
            const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
            ++nFiles;
        }
    }
    std::printf("%d seeds\n", nFiles);
    return nFiles > 0 ? 0 : 1;
}
