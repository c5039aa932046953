// Runs a fuzz target without a fuzzer: over every file of a corpus, over its cuts, and over a
// fixed number of random changes of it. The same inputs on every run and every machine.
//
//     fuzz_parse_single_replay CORPUS_FOLDER RUNS
#include "FuzzTarget.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <random>
#include <vector>

namespace {

using Input = std::vector<std::uint8_t>;

constexpr unsigned int SEED = 20100301;
constexpr std::size_t MOST_CHANGES = 8;
constexpr std::size_t LONGEST_INSERT = 40;
constexpr std::size_t MOST_CUTS = 500;
constexpr std::size_t LENGTH_BLOCKS = 31; ///< where a change does most

void run(Input const& input) {
    // A copy of the exact size, so that an address check sees a read beyond its end.
    auto const exact = std::make_unique<std::uint8_t[]>(input.size());
    std::copy(input.begin(), input.end(), exact.get());
    LLVMFuzzerTestOneInput(exact.get(), input.size());
}

/** Every cut of a short input, and some hundreds, evenly spread, of a long one. */
void runCuts(Input const& input) {
    std::size_t const step = 1 + input.size() / MOST_CUTS;
    for (std::size_t size = 0; size < input.size(); size += step) {
        run({input.begin(), input.begin() + static_cast<std::ptrdiff_t>(size)});
    }
    run(input);
}

Input fileBytes(std::filesystem::path const& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<Input> corpusOf(std::filesystem::path const& folder) {
    std::vector<std::filesystem::path> paths;
    for (auto const& entry : std::filesystem::directory_iterator(folder)) {
        paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
    std::vector<Input> corpus;
    std::transform(paths.begin(), paths.end(), std::back_inserter(corpus), fileBytes);
    return corpus;
}

class Mutator {
public:
    explicit Mutator(std::vector<Input> const& corpus) : mCorpus(corpus) {}

    Input next() {
        Input input = mCorpus[pick(mCorpus.size() - 1)];
        for (std::size_t changes = 1 + pick(MOST_CHANGES - 1); changes > 0; --changes) {
            change(input);
        }
        return input;
    }

private:
    void change(Input& input) {
        switch (pick(4)) {
        case 0:
            input.resize(pick(input.size()));
            break;
        case 1:
            input.insert(input.begin() + offset(input.size()), pick(LONGEST_INSERT), byte());
            break;
        case 2:
            setByte(input, pick(LENGTH_BLOCKS));
            break;
        default:
            setByte(input, pick(input.size()));
        }
    }

    void setByte(Input& input, std::size_t at) {
        if (at < input.size()) {
            input[at] = byte();
        }
    }

    /** Small values more often than large ones: a length of 200 mostly ends the decoding. */
    std::uint8_t byte() { return static_cast<std::uint8_t>(pick(pick(1) == 0 ? 8 : 255)); }

    std::ptrdiff_t offset(std::size_t largest) {
        return static_cast<std::ptrdiff_t>(pick(largest));
    }

    std::size_t pick(std::size_t largest) {
        return std::uniform_int_distribution<std::size_t>(0, largest)(mRandom);
    }

    std::vector<Input> const& mCorpus;
    std::mt19937 mRandom{SEED};
};

void replay(std::filesystem::path const& folder, unsigned long runs) {
    std::vector<Input> const corpus = corpusOf(folder);
    require(!corpus.empty(), "the corpus has files");
    for (Input const& input : corpus) {
        runCuts(input);
    }
    Mutator mutator(corpus);
    for (unsigned long count = 0; count < runs; ++count) {
        run(mutator.next());
    }
    std::cout << corpus.size() << " files with their cuts and " << runs << " changes of them\n";
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: " << argv[0] << " CORPUS_FOLDER RUNS\n";
        return 2;
    }
    try {
        replay(argv[1], std::stoul(argv[2]));
    } catch (std::exception const& failure) {
        std::cerr << failure.what() << "\n";
        return 1;
    }
    return 0;
}
