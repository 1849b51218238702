// The main of a fuzz target built without libFuzzer: runs the target once on
// every file named on the command line, and on every file below every
// directory named there, in sorted order. This keeps every target compiling
// with any compiler, lets CTest replay the seed corpus in every build (the
// sanitizer builds included) and reproduces a finding:
//   build/fuzz/fuzz_utf fuzz/corpus/fuzz_utf
//   build/fuzz/fuzz_utf crash-0123abcd
// Arguments that start with '-' are libFuzzer options and are ignored, so the
// same command line works for both builds. Replaying nothing is a failure: a
// missing or empty corpus must not pass for a clean run.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace fs = std::filesystem;

namespace {

bool collect(fs::path const& arg, std::vector<fs::path>& files) {
    std::error_code ec;
    if (fs::is_directory(arg, ec)) {
        for (fs::recursive_directory_iterator it(arg, ec), end; !ec && it != end; it.increment(ec))
            if (it->is_regular_file(ec)) files.push_back(it->path());
    } else if (fs::is_regular_file(arg, ec)) {
        files.push_back(arg);
    } else {
        std::fprintf(stderr, "%s: no such file or directory\n", arg.c_str());
        return false;
    }
    if (ec) std::fprintf(stderr, "%s: %s\n", arg.c_str(), ec.message().c_str());
    return !ec;
}

} // namespace

int main(int argc, char** argv) {
    if (LLVMFuzzerInitialize) LLVMFuzzerInitialize(&argc, &argv);
    std::vector<fs::path> files;
    bool ok = true;
    for (int i = 1; i < argc; ++i)
        if (argv[i][0] != '-') ok = collect(argv[i], files) && ok;
    std::sort(files.begin(), files.end());

    for (fs::path const& f : files) {
        std::ifstream in(f, std::ios::binary);
        std::vector<char> data((std::istreambuf_iterator<char>(in)),
                               std::istreambuf_iterator<char>());
        if (in.bad()) {
            std::fprintf(stderr, "%s: read error\n", f.c_str());
            ok = false;
            continue;
        }
        // A heap block of exactly the input's size, as libFuzzer passes it,
        // so that a read past the input trips the address checker.
        std::unique_ptr<uint8_t[]> copy(new uint8_t[data.size() ? data.size() : 1]);
        std::copy(data.begin(), data.end(), copy.get());
        LLVMFuzzerTestOneInput(copy.get(), data.size());
    }
    std::printf("%s: replayed %zu input(s)\n", argc > 0 ? argv[0] : "fuzz", files.size());
    if (files.empty()) {
        std::fprintf(stderr, "nothing replayed: name a corpus directory or input files\n");
        return 1;
    }
    return ok ? 0 : 1;
}
