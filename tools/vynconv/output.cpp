// Output targets: standard output, the temp-file-and-rename output file, and
// in-place writing for what may not be replaced.
#include "output.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace vynconv {
namespace {

// The temporary file's name, for the signal handler (which may only call
// async-signal-safe functions, so the name is kept in a plain array).
char g_tempPath[4096];
volatile std::sig_atomic_t g_haveTemp = 0;

// Every signal whose default action ends the process and that can be caught.
int const kSignals[] = {SIGHUP,  SIGINT,  SIGQUIT, SIGTERM,   SIGPIPE, SIGALRM, SIGUSR1,
                        SIGUSR2, SIGXCPU, SIGXFSZ, SIGVTALRM, SIGPROF, SIGTRAP, SIGPOLL,
                        SIGABRT, SIGBUS,  SIGFPE,  SIGILL,    SIGSEGV, SIGSYS};
struct sigaction g_old[sizeof kSignals / sizeof kSignals[0]];
bool g_watching = false;

extern "C" void removeTempAndDie(int sig) {
    if (g_haveTemp) ::unlink(g_tempPath);
    ::signal(sig, SIG_DFL);
    ::raise(sig);
}

// Only signals left at their default action are taken over: one inherited as
// ignored (nohup) stays ignored, and a handler already in place (a sanitizer's)
// stays in place.
void watchSignals(bool on) {
    if (on == g_watching) return;
    g_watching = on;
    for (size_t i = 0; i < sizeof kSignals / sizeof kSignals[0]; ++i) {
        if (!on) {
            ::sigaction(kSignals[i], &g_old[i], nullptr);
            continue;
        }
        ::sigaction(kSignals[i], nullptr, &g_old[i]);
        if (g_old[i].sa_handler != SIG_DFL) continue;
        struct sigaction sa;
        std::memset(&sa, 0, sizeof sa);
        sa.sa_handler = removeTempAndDie;
        sigfillset(&sa.sa_mask);
        ::sigaction(kSignals[i], &sa, nullptr);
    }
}

// Follows symbolic links to the name that will be written; a dangling link
// gives the name it points to.
std::string followLinks(std::string path) {
    for (int hops = 0; hops < 40; ++hops) {
        struct stat st;
        if (::lstat(path.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return path;
        std::vector<char> buf(static_cast<size_t>(st.st_size) + 256);
        ssize_t n = ::readlink(path.c_str(), buf.data(), buf.size() - 1);
        if (n < 0) return path;
        std::string dest(buf.data(), static_cast<size_t>(n));
        size_t slash = path.rfind('/');
        if (dest[0] != '/' && slash != std::string::npos) dest = path.substr(0, slash + 1) + dest;
        path = dest;
    }
    return path;
}

} // namespace

bool FileOutput::write(void const* data, size_t n) {
    return n == 0 || std::fwrite(data, 1, n, f_) == n;
}

OutputFile::~OutputFile() {
    abandon();
}

bool OutputFile::open(std::string const& target, std::string* error) {
    if (target.empty() || target == "-") {
        std_ = true;
        f_ = stdout;
        return true;
    }
    target_ = followLinks(target);
    struct stat st;
    bool const exists = ::stat(target_.c_str(), &st) == 0;
    if (exists && S_ISDIR(st.st_mode)) {
        *error = target + ": is a directory";
        return false;
    }
    if (exists && ::access(target_.c_str(), W_OK) != 0) {
        *error = target + ": cannot write it: " + std::strerror(errno);
        return false;
    }
    if (exists && (!S_ISREG(st.st_mode) || st.st_nlink > 1)) return openInPlace(error);
    std::string tmpl = target_ + ".vynconv-XXXXXX";
    if (tmpl.size() >= sizeof g_tempPath) {
        *error = target + ": name too long";
        return false;
    }
    std::vector<char> name(tmpl.begin(), tmpl.end());
    name.push_back('\0');
    // The handlers go in first, so that no signal can leave the file behind.
    watchSignals(true);
    int fd = ::mkstemp(name.data());
    if (fd < 0) {
        int const err = errno;
        watchSignals(false);
        // A writable file in a directory that takes no new file.
        if (exists && (err == EACCES || err == EPERM || err == EROFS)) return openInPlace(error);
        *error = target + ": cannot create a temporary file beside it: " + std::strerror(err);
        return false;
    }
    temp_ = name.data();
    std::memcpy(g_tempPath, temp_.c_str(), temp_.size() + 1);
    g_haveTemp = 1;
    if (exists) {
        ::fchmod(fd, st.st_mode & 07777);
        // Where the process may: root, or a group it belongs to.
        if (::fchown(fd, st.st_uid, st.st_gid) != 0 &&
            ::fchown(fd, static_cast<uid_t>(-1), st.st_gid) != 0) {
        }
        ::fchmod(fd, st.st_mode & 07777); // a change of owner may clear set-id bits
    } else {
        mode_t mask = ::umask(0);
        ::umask(mask);
        ::fchmod(fd, 0666 & ~mask);
    }
    f_ = ::fdopen(fd, "wb");
    if (!f_) {
        *error = target + ": " + std::strerror(errno);
        ::close(fd);
        abandon();
        return false;
    }
    return true;
}

bool OutputFile::openInPlace(std::string* error) {
    int fd = ::open(target_.c_str(), O_WRONLY | O_TRUNC | O_NOCTTY);
    if (fd < 0 || !(f_ = ::fdopen(fd, "wb"))) {
        *error = target_ + ": " + std::strerror(errno);
        if (fd >= 0) ::close(fd);
        return false;
    }
    return true;
}

bool OutputFile::commit(std::string* error) {
    if (!f_) return false;
    bool ok = std::fflush(f_) == 0 && !std::ferror(f_);
    if (std_) {
        if (!ok) *error = std::string("write error: ") + std::strerror(errno);
        f_ = nullptr;
        return ok;
    }
    if (std::fclose(f_) != 0) ok = false;
    f_ = nullptr;
    if (!ok) {
        *error = target_ + ": write error: " + std::strerror(errno);
        abandon();
        return false;
    }
    if (temp_.empty()) return true; // written in place
    if (std::rename(temp_.c_str(), target_.c_str()) != 0) {
        *error = target_ + ": " + std::strerror(errno);
        abandon();
        return false;
    }
    g_haveTemp = 0;
    temp_.clear();
    watchSignals(false);
    return true;
}

void OutputFile::abandon() {
    if (f_ && !std_) std::fclose(f_);
    if (std_ && f_) std::fflush(f_);
    f_ = nullptr;
    if (!temp_.empty()) {
        g_haveTemp = 0;
        ::unlink(temp_.c_str());
        temp_.clear();
    }
    watchSignals(false);
}

} // namespace vynconv
