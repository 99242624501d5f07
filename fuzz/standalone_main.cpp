// Runs a fuzz target without a fuzzing engine: each seed as it is, then damaged copies of the seeds, the same
// for the same arguments. Ends with an error when an input makes the target take more than 64 MiB beyond the
// input's size.
//
//   fuzz_x FOLDER [--runs N] [--seed S] [--one FILE]

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <malloc.h>
#include <new>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

using Input = std::vector<uint8_t>;

size_t allocated = 0;
size_t peak = 0;

constexpr size_t memoryLimit = size_t{64} << 20;

class Damage {
  public:
    explicit Damage(uint64_t seed) : state_(seed * 2654435761u + 88172645463325252ull) {}

    Input Copy(const std::vector<Input>& seeds) {
        Input input = seeds[Below(seeds.size())];
        for (size_t n = 1 + Below(8); n > 0; --n) Once(input, seeds);
        return input;
    }

  private:
    uint64_t Next() {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return state_;
    }
    size_t Below(size_t n) { return n == 0 ? 0 : Next() % n; }
    // Counts and lengths stand near the start of a file's parts; half of the damage goes to the first bytes.
    size_t Place(size_t n) { return Next() % 2 == 0 ? Below(std::min<size_t>(n, 600)) : Below(n); }

    void Once(Input& input, const std::vector<Input>& seeds) {
        static constexpr uint32_t numbers[] = {0,      1,      0xFF,       0xFFFF,     0xFFFE,     0x7FFFFFFF,
                                               128,    129,    0x80000000, 0xFFFFFFFF, 0x10000000, 48,
                                               0x7F80, 0x7FF0, 0x20202020, 0x2D313030, 0x39393939, 21};
        if (input.empty()) return;
        switch (Below(7)) {
        case 0:
            input[Place(input.size())] ^= static_cast<uint8_t>(1u << Below(8));
            break;
        case 1:
            input[Place(input.size())] = static_cast<uint8_t>(Next());
            break;
        case 2: {
            const uint32_t number = numbers[Below(std::size(numbers))];
            const size_t at = Place(input.size());
            std::memcpy(input.data() + at, &number, std::min<size_t>(Below(4) + 1, input.size() - at));
            break;
        }
        case 3:
            input.resize(Below(input.size()));
            break;
        case 4: {
            const size_t at = Place(input.size());
            input.erase(input.begin() + static_cast<long>(at),
                        input.begin() + static_cast<long>(std::min(input.size(), at + 1 + Below(16))));
            break;
        }
        case 5: {
            const size_t n = 1 + Below(16);
            const auto byte = static_cast<uint8_t>(Next());
            input.insert(input.begin() + static_cast<long>(Place(input.size())), n, byte);
            break;
        }
        default: {
            const Input& other = seeds[Below(seeds.size())];
            const size_t at = Below(std::min(input.size(), other.size()));
            input.resize(at);
            input.insert(input.end(), other.begin() + static_cast<long>(at), other.end());
        }
        }
    }

    uint64_t state_;
};

Input ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

double longestMs = 0.0;
size_t mostMemory = 0;

void Run(const Input& input) {
    // The file in memory and what the target writes from it are up to three copies of the input.
    peak = allocated;
    const size_t before = allocated;
    const auto start = std::chrono::steady_clock::now();
    LLVMFuzzerTestOneInput(input.data(), input.size());
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    longestMs = std::max(longestMs, took.count());
    mostMemory = std::max(mostMemory, peak - before);
    if (peak - before > memoryLimit + 3 * input.size()) {
        std::fprintf(stderr, "an input of %zu bytes took %zu bytes of memory\n", input.size(), peak - before);
        std::ofstream("too-much-memory.bin", std::ios::binary)
            .write(reinterpret_cast<const char*>(input.data()), static_cast<std::streamsize>(input.size()));
        std::exit(1);
    }
}

}  // namespace

// The address sanitizer watches the operators itself; memory is counted without it.
#ifndef __SANITIZE_ADDRESS__
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    void* p = std::malloc(size == 0 ? 1 : size);
    if (p == nullptr) return nullptr;
    allocated += malloc_usable_size(p);
    peak = std::max(peak, allocated);
    return p;
}
void* operator new(size_t size) {
    void* p = operator new(size, std::nothrow);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}
void operator delete(void* p) noexcept {
    if (p != nullptr) allocated -= malloc_usable_size(p);
    std::free(p);
}
void operator delete(void* p, size_t) noexcept { operator delete(p); }
#endif

int main(int argc, char** argv) {
    uint64_t runs = 2000;
    uint64_t seed = 1;
    std::filesystem::path folder;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--runs" && i + 1 < argc)
            runs = std::stoull(argv[++i]);
        else if (argument == "--seed" && i + 1 < argc)
            seed = std::stoull(argv[++i]);
        else if (argument == "--one" && i + 1 < argc)
            return Run(ReadFile(argv[++i])), 0;
        else
            folder = argument;
    }
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (entry.is_regular_file()) paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    std::vector<Input> seeds;
    for (const auto& path : paths) seeds.push_back(ReadFile(path));
    if (seeds.empty()) {
        std::fprintf(stderr, "no seeds in %s\n", folder.c_str());
        return 1;
    }
    for (const Input& input : seeds) Run(input);
    Damage damage(seed);
    for (uint64_t i = 0; i < runs; ++i) Run(damage.Copy(seeds));
    std::printf("%zu seeds, %llu damaged copies; longest %.1f ms, most memory %.1f MiB\n", seeds.size(),
                static_cast<unsigned long long>(runs), longestMs,
                static_cast<double>(mostMemory) / (1 << 20));
    return 0;
}
