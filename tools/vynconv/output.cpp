// Output targets: standard output and the temp-file-and-rename output file.
#include "output.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <vector>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vynconv {
namespace {

// The temporary file's name, for the signal handler (which may only call
// async-signal-safe functions, so the name is kept in a plain array).
char g_tempPath[4096];
volatile std::sig_atomic_t g_haveTemp = 0;

extern "C" void removeTempAndDie(int sig) {
    if (g_haveTemp) ::unlink(g_tempPath);
    std::signal(sig, SIG_DFL);
    std::raise(sig);
}

void watchSignals(bool on) {
    static int const sigs[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};
    for (int s : sigs) std::signal(s, on ? removeTempAndDie : SIG_DFL);
}

} // namespace

bool FileOutput::write(void const* data, size_t n) {
    return n == 0 || std::fwrite(data, 1, n, f_) == n;
}

AtomicFile::~AtomicFile() {
    abandon();
}

bool AtomicFile::open(std::string const& target, std::string* error) {
    target_ = target;
    std::string tmpl = target + ".vynconv-XXXXXX";
    if (tmpl.size() >= sizeof g_tempPath) {
        *error = target + ": name too long";
        return false;
    }
    std::vector<char> name(tmpl.begin(), tmpl.end());
    name.push_back('\0');
    int fd = ::mkstemp(name.data());
    if (fd < 0) {
        *error = target + ": cannot create a temporary file beside it: " + std::strerror(errno);
        return false;
    }
    temp_ = name.data();
    std::memcpy(g_tempPath, temp_.c_str(), temp_.size() + 1);
    g_haveTemp = 1;
    watchSignals(true);
    // The file gets the mode a plain create would give (or the target's own).
    struct stat st;
    mode_t mode;
    if (::stat(target.c_str(), &st) == 0) {
        mode = st.st_mode & 07777;
    } else {
        mode_t mask = ::umask(0);
        ::umask(mask);
        mode = 0666 & ~mask;
    }
    ::fchmod(fd, mode);
    f_ = ::fdopen(fd, "wb");
    if (!f_) {
        *error = target + ": " + std::strerror(errno);
        ::close(fd);
        abandon();
        return false;
    }
    return true;
}

bool AtomicFile::commit(std::string* error) {
    if (!f_) return false;
    bool ok = std::fflush(f_) == 0 && !std::ferror(f_);
    if (std::fclose(f_) != 0) ok = false;
    f_ = nullptr;
    if (!ok) {
        *error = target_ + ": write error: " + std::strerror(errno);
        abandon();
        return false;
    }
    if (std::rename(temp_.c_str(), target_.c_str()) != 0) {
        *error = target_ + ": " + std::strerror(errno);
        abandon();
        return false;
    }
    g_haveTemp = 0;
    watchSignals(false);
    temp_.clear();
    return true;
}

void AtomicFile::abandon() {
    if (f_) {
        std::fclose(f_);
        f_ = nullptr;
    }
    if (!temp_.empty()) {
        g_haveTemp = 0;
        ::unlink(temp_.c_str());
        temp_.clear();
        watchSignals(false);
    }
}

} // namespace vynconv
