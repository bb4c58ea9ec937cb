// Calls a fuzz target with each file of a corpus and with a fixed number of variations, the same ones each time:
//     PROGRAM CASES CORPUS

#include "Fuzz.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

namespace {

using Input = std::vector<std::uint8_t>;

Input Read(const std::filesystem::path& file)
{
    std::ifstream in(file, std::ios::binary);
    return Input(std::istreambuf_iterator<char>(in), {});
}

std::vector<Input> ReadCorpus(const std::filesystem::path& directory)
{
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    std::vector<Input> inputs;
    for (const auto& file : files) inputs.push_back(Read(file));
    return inputs;
}

class Variations {
 public:
    explicit Variations(std::vector<Input> corpus) : corpus_(std::move(corpus)) {}

    /** An input of the corpus after a few changes. */
    Input Next()
    {
        Input input = Any(corpus_);
        for (std::size_t changes = 1 + Below(4); changes > 0; --changes) Change(input);
        return input;
    }

 private:
    std::size_t Below(std::size_t bound) { return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random_); }
    const Input& Any(const std::vector<Input>& inputs) { return inputs[Below(inputs.size())]; }

    void Change(Input& input)
    {
        static constexpr std::uint8_t kTelling[] = {0, 1, 4, 40, 41, 0x3A, 0x7F, 0x80, 0xFF};
        const std::size_t place = Below(input.size() + 1);
        const auto at = input.begin() + static_cast<std::ptrdiff_t>(place);
        switch (Below(6)) {
            case 0:
                input.insert(at, static_cast<std::uint8_t>(Below(256)));
                break;
            case 1:
                input.erase(at, input.end());
                break;
            case 2: {
                const Input& other = Any(corpus_);
                input.insert(input.end(), other.begin(), other.end());
                break;
            }
            case 3:
                if (at != input.end()) input.erase(at);
                break;
            case 4:
                if (at != input.end()) *at = kTelling[Below(std::size(kTelling))];
                break;
            default:
                if (at != input.end()) *at = static_cast<std::uint8_t>(*at ^ (1U << Below(8)));
        }
    }

    std::vector<Input> corpus_;
    std::mt19937_64 random_{1};
};

}  // namespace

int main(int count, char** values)
{
    if (count != 3) {
        std::fprintf(stderr, "usage: %s CASES CORPUS\n", values[0]);
        return 2;
    }
    const std::vector<Input> corpus = ReadCorpus(values[2]);
    if (corpus.empty()) {
        std::fprintf(stderr, "%s: no inputs in %s\n", values[0], values[2]);
        return 1;
    }
    for (const Input& input : corpus) LLVMFuzzerTestOneInput(input.data(), input.size());
    Variations variations(corpus);
    const long cases = std::atol(values[1]);
    for (long i = 0; i < cases; ++i) {
        const Input input = variations.Next();
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    std::printf("%zu inputs of the corpus, %ld variations\n", corpus.size(), cases);
    return 0;
}
