// Output targets for vynconv: standard output, or a file that appears only
// when the run succeeds.
#ifndef VYNCONV_OUTPUT_H
#define VYNCONV_OUTPUT_H

#include "stream.h"

#include <cstdio>
#include <string>

namespace vynconv {

class FileOutput : public Output {
public:
    explicit FileOutput(std::FILE* f) : f_(f) {}
    bool write(void const* data, size_t n) override;
    void reset(std::FILE* f) { f_ = f; }

private:
    std::FILE* f_;
};

// Writes into a temporary file beside the target (same directory, so the final
// rename is atomic) and renames it over the target on commit. Anything else,
// including a signal that kills the run, removes the temporary file and leaves
// the target as it was.
class AtomicFile {
public:
    AtomicFile() = default;
    ~AtomicFile();
    AtomicFile(AtomicFile const&) = delete;
    AtomicFile& operator=(AtomicFile const&) = delete;

    bool open(std::string const& target, std::string* error);
    std::FILE* file() const { return f_; }
    bool commit(std::string* error);
    void abandon();

private:
    std::string target_, temp_;
    std::FILE* f_ = nullptr;
};

} // namespace vynconv

#endif
