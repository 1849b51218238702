// vynconv: converts text between the character sets of vynulib64, through
// UTF-16, with the library's own converters.
#include "charsets.h"
#include "output.h"
#include "stream.h"

#include <vynulib/vynulib.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace vynconv;

namespace {

// Exit statuses.
constexpr int kOk = 0, kUnconvertible = 1, kUsage = 2, kIoError = 3;

char const kUsageText[] =
    "usage: vynconv [-f FROM] [-t TO] [-o OUT] [--on-error=MODE | -c] [FILE...]\n"
    "       vynconv --path [-f FROM] [-t TO] [-o OUT] [FILE...]\n"
    "       vynconv -l | --default | --help\n";

char const kHelpText[] =
    "Converts FILEs (or standard input; '-' is standard input too) from FROM to TO\n"
    "and writes the result to standard output or OUT.\n"
    "\n"
    "  -f, --from SET      input set (default: the process default set)\n"
    "  -t, --to SET        output set (default: the process default set)\n"
    "                      SET is a name (VYNCS_WCP932), a number (932) or an alias\n"
    "                      (UTF-8, LATIN1, SHIFT_JIS, CP932, GBK, BIG5, EUC-KR, ...),\n"
    "                      aliases in any case; -l lists them all\n"
    "  -o, --output OUT    write OUT through a temporary file beside it, renamed\n"
    "                      over OUT only when the run succeeds\n"
    "      --on-error=MODE what to do with a character that cannot be converted:\n"
    "                      replace (default: U+FFFD when reading, '?' when writing),\n"
    "                      escape (write it as U+XXXX text), stop (stop before it)\n"
    "  -c                  drop such characters silently (exit status 0)\n"
    "      --path          convert file names, one a line (or NUL-separated), with\n"
    "                      the path functions: -f UTF-8 to the default set keeps\n"
    "                      unmappable characters as U+XXXX; -t UTF-8 turns them back\n"
    "  -l, --list          list the sets: name, number, converter, aliases\n"
    "      --default       show the default set and where it came from\n"
    "      --progress      show progress on standard error\n"
    "  -q, --quiet         no progress, no message about unconvertible characters\n"
    "  -h, --help          this text\n"
    "\n"
    "Exit status: 0 success; 1 some character could not be converted (the first is\n"
    "named on standard error with its byte offset); 2 usage error; 3 read or write\n"
    "error.\n";

int usage(std::string const& msg) {
    std::fprintf(stderr, "vynconv: %s\n%s(vynconv --help for more)\n", msg.c_str(), kUsageText);
    return kUsage;
}

// A progress line on standard error, refreshed a few times a second.
class TermProgress : public Progress {
public:
    TermProgress(bool forced, bool automatic) : forced_(forced), auto_(automatic) {}
    void start(std::string const& label, std::FILE* in) {
        label_ = label;
        total_ = 0;
        struct stat st;
        if (::fstat(::fileno(in), &st) == 0 && S_ISREG(st.st_mode))
            total_ = static_cast<uint64_t>(st.st_size);
        begin_ = last_ = std::chrono::steady_clock::now();
        shown_ = false;
        bytes_ = 0;
    }
    void advance(uint64_t bytes) override {
        bytes_ = bytes;
        if (!forced_ && !auto_) return;
        auto now = std::chrono::steady_clock::now();
        // Automatic lines only for inputs that take a while.
        if (!forced_ && now - begin_ < std::chrono::seconds(1)) return;
        if (shown_ && now - last_ < std::chrono::milliseconds(200)) return;
        last_ = now;
        show();
    }
    void finish() {
        if (forced_ || shown_) {
            show();
            std::fputc('\n', stderr);
        }
    }

private:
    void show() {
        shown_ = true;
        double mib = static_cast<double>(bytes_) / (1024.0 * 1024.0);
        if (total_)
            std::fprintf(stderr, "\rvynconv: %s: %.1f MiB (%d%%)", label_.c_str(), mib,
                         static_cast<int>(bytes_ * 100 / total_));
        else
            std::fprintf(stderr, "\rvynconv: %s: %.1f MiB", label_.c_str(), mib);
        std::fflush(stderr);
    }
    bool forced_, auto_;
    std::string label_;
    uint64_t total_ = 0, bytes_ = 0;
    bool shown_ = false;
    std::chrono::steady_clock::time_point begin_, last_;
};

// --path: one name a line (or between NULs), through the path functions.
int convertPaths(std::FILE* in, std::FILE* out, bool toLocal) {
    constexpr size_t kMaxName = 64 * 1024;
    std::string name;
    bool tooLong = false;
    auto flush = [&](int sep) {
        if (name.size() > kMaxName) {
            tooLong = true;
        } else if (!name.empty()) {
            // Sources are terminated; a name ends at its first NUL anyway.
            std::vector<char> dst(name.size() * 6 + 16);
            int n = toLocal ? UTF8ToLocalPath(dst.data(),
                                              reinterpret_cast<unsigned char const*>(name.c_str()),
                                              static_cast<int>(dst.size()))
                            : LocalPathToUTF8(reinterpret_cast<unsigned char*>(dst.data()),
                                              name.c_str(), static_cast<int>(dst.size()));
            if (n > 0) std::fwrite(dst.data(), 1, static_cast<size_t>(n), out);
        }
        if (sep != EOF) std::fputc(sep, out);
        name.clear();
    };
    int c;
    while ((c = std::getc(in)) != EOF) {
        if (c == '\n' || c == '\0')
            flush(c);
        else if (name.size() <= kMaxName)
            name += static_cast<char>(c);
    }
    if (!name.empty()) flush(EOF);
    if (std::ferror(in)) return kIoError;
    if (tooLong) {
        std::fprintf(stderr, "vynconv: a name longer than %zu bytes was left out\n", kMaxName);
        return kUnconvertible;
    }
    return kOk;
}

} // namespace

int main(int argc, char** argv) {
    VynCharSet from = VYNCS_OS_DEFAULT, to = VYNCS_OS_DEFAULT;
    OnError mode = OnError::Replace;
    std::string outPath;
    bool haveOut = false, pathMode = false, progress = false, quiet = false;
    size_t chunk = kDefaultChunk;
    std::vector<std::string> files;

    auto setArg = [&](std::string const& opt, char const* text, VynCharSet* cs) -> int {
        switch (lookupSet(text, cs)) {
        case Lookup::Found:
            return 0;
        case Lookup::NoConverter:
            return usage(opt + ": " + VynCharSetToString(*cs) + " (" + std::to_string(*cs) +
                         ") has no converter in this library");
        case Lookup::Unknown:
            break;
        }
        return usage(opt + ": unknown character set '" + text + "' (vynconv -l lists them)");
    };

    bool optionsDone = false;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (optionsDone || a == "-" || a.empty() || a[0] != '-') {
            files.push_back(a);
            continue;
        }
        if (a == "--") {
            optionsDone = true;
            continue;
        }
        // --opt=value and --opt value; -fVALUE and -f VALUE.
        std::string value;
        bool hasValue = false;
        size_t eq = a.find('=');
        if (a.compare(0, 2, "--") == 0 && eq != std::string::npos) {
            value = a.substr(eq + 1);
            a = a.substr(0, eq);
            hasValue = true;
        } else if (a.size() > 2 && a[1] != '-' && std::strchr("fto", a[1])) {
            value = a.substr(2);
            a = a.substr(0, 2);
            hasValue = true;
        }
        auto need = [&](std::string* v) -> bool {
            if (hasValue) return *v = value, true;
            if (i + 1 >= argc) return false;
            *v = argv[++i];
            return true;
        };
        std::string v;
        if (a == "-f" || a == "--from" || a == "-t" || a == "--to") {
            if (!need(&v)) return usage(a + " needs a character set");
            bool isFrom = a == "-f" || a == "--from";
            if (int rc = setArg(a, v.c_str(), isFrom ? &from : &to)) return rc;
        } else if (a == "-o" || a == "--output") {
            if (!need(&v) || v.empty()) return usage(a + " needs a file name");
            outPath = v;
            haveOut = true;
        } else if (a == "--on-error") {
            if (!need(&v)) return usage("--on-error needs replace, stop or escape");
            if (v == "replace")
                mode = OnError::Replace;
            else if (v == "stop")
                mode = OnError::Stop;
            else if (v == "escape")
                mode = OnError::Escape;
            else
                return usage("--on-error: unknown mode '" + v + "' (replace, stop or escape)");
        } else if (a == "-c") {
            mode = OnError::Drop;
        } else if (a == "--chunk-size") {
            if (!need(&v)) return usage("--chunk-size needs a number");
            char* end = nullptr;
            unsigned long long n = std::strtoull(v.c_str(), &end, 10);
            if (v.empty() || *end || v[0] == '-' || n < 1 || n > (256ull << 20))
                return usage("--chunk-size: '" + v + "' is not a size from 1 to 268435456");
            chunk = static_cast<size_t>(n);
        } else if (a == "--path") {
            pathMode = true;
        } else if (a == "--progress") {
            progress = true;
        } else if (a == "-q" || a == "--quiet") {
            quiet = true;
        } else if (a == "-l" || a == "--list") {
            printSetList(stdout);
            return kOk;
        } else if (a == "--default") {
            printDefault(stdout);
            return kOk;
        } else if (a == "-h" || a == "--help") {
            std::fputs(kUsageText, stdout);
            std::fputs(kHelpText, stdout);
            return kOk;
        } else {
            return usage("unknown option '" + std::string(argv[i]) + "'");
        }
    }
    if (files.empty()) files.push_back("-");

    bool toLocal = false;
    if (pathMode) {
        VynCharSet detected = g_oCnvtMgr.defaultCharSet();
        VynCharSet f = from == VYNCS_OS_DEFAULT ? detected : from;
        VynCharSet t = to == VYNCS_OS_DEFAULT ? detected : to;
        if (f == VYNCS_UTF8 && t == detected)
            toLocal = true;
        else if (f == detected && t == VYNCS_UTF8)
            toLocal = false;
        else
            return usage("--path converts between UTF-8 and the default set only "
                         "(-f UTF-8, or -t UTF-8)");
    }

    AtomicFile atomic;
    std::FILE* out = stdout;
    if (haveOut) {
        std::string err;
        if (!atomic.open(outPath, &err)) {
            std::fprintf(stderr, "vynconv: %s\n", err.c_str());
            return kIoError;
        }
        out = atomic.file();
    }
    static char outBuffer[1 << 16];
    std::setvbuf(out, outBuffer, _IOFBF, sizeof outBuffer);

    FileOutput sink(out);
    StreamConverter conv(from, to, mode, chunk, sink);
    TermProgress bar(progress && !quiet, !quiet && ::isatty(2));
    int status = kOk;
    for (std::string const& f : files) {
        bool isStdin = f == "-";
        std::FILE* in = isStdin ? stdin : std::fopen(f.c_str(), "rb");
        std::string label = isStdin ? "<stdin>" : f;
        if (!in) {
            std::fprintf(stderr, "vynconv: %s: %s\n", f.c_str(), std::strerror(errno));
            status = kIoError;
            break;
        }
        StreamConverter::Result r;
        if (pathMode) {
            int rc = convertPaths(in, out, toLocal);
            r = rc == kIoError ? StreamConverter::ReadError : StreamConverter::Ok;
            if (rc == kUnconvertible) status = kUnconvertible;
        } else {
            bar.start(label, in);
            r = conv.run(in, label, &bar);
            bar.finish();
        }
        if (!isStdin) std::fclose(in);
        if (r == StreamConverter::ReadError) {
            std::fprintf(stderr, "vynconv: %s: read error: %s\n", label.c_str(),
                         std::strerror(errno));
            status = kIoError;
            break;
        }
        if (r == StreamConverter::WriteError) {
            std::fprintf(stderr, "vynconv: write error: %s\n", std::strerror(errno));
            status = kIoError;
            break;
        }
        if (r == StreamConverter::Stopped) break;
    }
    if (conv.problemCount() && mode != OnError::Drop) {
        if (status == kOk) status = kUnconvertible;
        if (!quiet) {
            Problem const& p = conv.firstProblem();
            std::fprintf(stderr, "vynconv: %s: byte %llu: %s", p.where.c_str(),
                         static_cast<unsigned long long>(p.offset), p.what.c_str());
            if (mode == OnError::Stop)
                std::fprintf(stderr, "; stopped there\n");
            else if (conv.problemCount() > 1)
                std::fprintf(stderr, " (and %llu more)\n",
                             static_cast<unsigned long long>(conv.problemCount() - 1));
            else
                std::fputc('\n', stderr);
        }
    }
    bool failed = status == kIoError || (mode == OnError::Stop && conv.problemCount());
    if (haveOut) {
        if (failed) {
            atomic.abandon();
        } else {
            std::string err;
            if (!atomic.commit(&err)) {
                std::fprintf(stderr, "vynconv: %s\n", err.c_str());
                return kIoError;
            }
        }
    } else if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        std::fprintf(stderr, "vynconv: write error: %s\n", std::strerror(errno));
        return kIoError;
    }
    return status;
}
