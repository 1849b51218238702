// --path: file names, one a line or NUL-separated, through the library's path
// functions, each checked for a round trip so that no name changes silently.
#ifndef VYNCONV_PATHS_H
#define VYNCONV_PATHS_H

#include "stream.h"

#include <cstdio>
#include <string>

namespace vynconv {

class PathConverter {
public:
    PathConverter(VynCharSet from, VynCharSet to);

    // The path functions convert between UTF-8 and the default set only.
    static bool supported(VynCharSet from, VynCharSet to, std::string* why);

    // Converts the names of one input; false on a read error.
    bool run(int fd, std::FILE* out, std::string const& label, size_t index);

    uint64_t problemCount() const { return problems_; }
    Problem const& firstProblem() const { return first_; }

private:
    void name(std::string const& n, uint64_t offset, std::FILE* out);
    std::string toLocal(std::string const& utf8) const;
    std::string toUtf8(std::string const& local) const;

    bool toLocal_;
    std::string label_;
    size_t index_ = 0;
    uint64_t problems_ = 0;
    Problem first_;
};

} // namespace vynconv

#endif
