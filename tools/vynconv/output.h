// Output targets for vynconv: standard output, or a file that is touched only
// in the ways its kind allows.
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

private:
    std::FILE* f_;
};

// Where -o writes:
// - nothing or "-": standard output;
// - a symbolic link: what it points to, by these same rules;
// - a new name, or a regular file with one link: a temporary file beside it,
//   renamed over it when the run succeeds (mode kept, owner and group too
//   where the process may set them); a failed run or a caught signal removes
//   the temporary file and leaves the target as it was;
// - anything else (several links, a device, a FIFO, a socket, or a directory
//   that takes no temporary file while the file itself is writable): written
//   in place;
// - a file the process may not write: refused.
class OutputFile {
public:
    OutputFile() = default;
    ~OutputFile();
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;

    bool open(std::string const& target, std::string* error);
    std::FILE* file() const { return f_; }
    bool commit(std::string* error);
    void abandon();

private:
    bool openInPlace(std::string* error);
    std::string target_, temp_;
    std::FILE* f_ = nullptr;
    bool std_ = false;
};

} // namespace vynconv

#endif
