// File names through the path functions, with a round-trip check.
#include "paths.h"

#include <cerrno>
#include <unistd.h>
#include <vector>

namespace vynconv {
namespace {

// Longest name handled; a longer one is reported and left out.
constexpr size_t kMaxName = 64 * 1024;

VynCharSet resolved(VynCharSet cs) {
    return cs == VYNCS_OS_DEFAULT ? g_oCnvtMgr.defaultCharSet() : cs;
}

} // namespace

PathConverter::PathConverter(VynCharSet from, VynCharSet)
    : toLocal_(resolved(from) == VYNCS_UTF8) {}

bool PathConverter::supported(VynCharSet from, VynCharSet to, std::string* why) {
    VynCharSet const local = g_oCnvtMgr.defaultCharSet();
    VynCharSet const f = resolved(from), t = resolved(to);
    if ((f == VYNCS_UTF8 && t == local) || (f == local && t == VYNCS_UTF8)) return true;
    *why = "--path converts between UTF-8 and the default set only (-f UTF-8, or -t UTF-8)";
    return false;
}

// Sources are terminated: a name handed over ends at its first NUL anyway,
// and names are split at NULs.
std::string PathConverter::toLocal(std::string const& utf8) const {
    std::vector<char> dst(utf8.size() * 6 + 16);
    int n = UTF8ToLocalPath(dst.data(), reinterpret_cast<unsigned char const*>(utf8.c_str()),
                            static_cast<int>(dst.size()));
    return std::string(dst.data(), n > 0 ? static_cast<size_t>(n) : 0);
}

std::string PathConverter::toUtf8(std::string const& local) const {
    std::vector<unsigned char> dst(local.size() * 4 + 16);
    int n = LocalPathToUTF8(dst.data(), local.c_str(), static_cast<int>(dst.size()));
    return std::string(reinterpret_cast<char const*>(dst.data()),
                       n > 0 ? static_cast<size_t>(n) : 0);
}

void PathConverter::name(std::string const& n, uint64_t offset, std::FILE* out) {
    if (n.empty()) return;
    std::string result, back;
    bool kept = n.size() <= kMaxName;
    if (kept) {
        result = toLocal_ ? toLocal(n) : toUtf8(n);
        back = toLocal_ ? toUtf8(result) : toLocal(result);
        kept = back == n;
        std::fwrite(result.data(), 1, result.size(), out);
    }
    if (kept) return;
    if (problems_++ == 0) {
        first_.input = index_;
        first_.where = label_;
        first_.offset = offset;
        first_.what = n.size() > kMaxName
                          ? "a name longer than " + std::to_string(kMaxName) + " bytes, left out"
                          : "a name that does not come back the same way (not kept exactly)";
    }
}

bool PathConverter::run(int fd, std::FILE* out, std::string const& label, size_t index) {
    label_ = label;
    index_ = index;
    std::string cur;
    uint64_t pos = 0, start = 0;
    char buf[65536];
    for (;;) {
        ssize_t got = ::read(fd, buf, sizeof buf);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return false;
        if (got == 0) break;
        for (ssize_t i = 0; i < got; ++i, ++pos) {
            char c = buf[i];
            if (c == '\n' || c == '\0') {
                name(cur, start, out);
                std::fputc(c, out);
                cur.clear();
                start = pos + 1;
            } else if (cur.size() <= kMaxName) {
                cur += c;
            }
        }
    }
    name(cur, start, out);
    return true;
}

} // namespace vynconv
