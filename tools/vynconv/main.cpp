// vynconv: converts text between the character sets of vynulib64, through
// UTF-16, with the library's own converters.
#include "charsets.h"
#include "output.h"
#include "paths.h"
#include "stream.h"

#include <vynulib/vynulib.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#ifndef VYNCONV_VERSION
#define VYNCONV_VERSION "unknown"
#endif

using namespace vynconv;

namespace {

// Exit statuses.
constexpr int kOk = 0, kUnconvertible = 1, kUsage = 2, kIoError = 3;

char const kUsageText[] =
    "usage: vynconv [-f FROM] [-t TO] [-o OUT] [--on-error=MODE | -c] [OPTION...] [FILE...]\n"
    "       vynconv --path [-f FROM] [-t TO] [-o OUT] [FILE...]\n"
    "       vynconv -l | --default | --help | --version\n";

char const kHelpText[] =
    "Converts FILEs (or standard input; '-' is standard input too) from FROM to TO\n"
    "and writes the result to standard output or OUT.\n"
    "\n"
    "  -f, --from, --from-code SET   input set (default: the process default set)\n"
    "  -t, --to, --to-code SET       output set (default: the process default set)\n"
    "                      SET is a name (VYNCS_WCP932), a number (932) or an alias\n"
    "                      (UTF-8, LATIN1, ASCII, SHIFT_JIS, CP932, GBK, BIG5, ...),\n"
    "                      in any case; -l lists them all. UTF-16 and UTF-32 read a\n"
    "                      byte-order mark and write one; UTF-16LE/BE, UTF-32LE/BE,\n"
    "                      UCS-2, UCS-4 have a fixed order and none. TO may end in\n"
    "                      //TRANSLIT (approximate what TO cannot hold) and //IGNORE\n"
    "                      (drop what cannot be converted; exit status 1)\n"
    "  -o, --output OUT    write OUT ('-': standard output); a regular file is\n"
    "                      replaced only when the run succeeds\n"
    "      --on-error=MODE what to do with a character that cannot be converted:\n"
    "                      replace (default: U+FFFD when reading, '?' when writing),\n"
    "                      escape (write it as U+XXXX text), stop (stop before it)\n"
    "  -c                  drop such characters silently (exit status 0)\n"
    "      --lenient       read UTF-8/16/32 as the library does, without checking\n"
    "      --add-signature    start a Unicode output with U+FEFF\n"
    "      --remove-signature drop a U+FEFF that starts a Unicode input\n"
    "      --path          convert file names, one a line (or NUL-separated), with\n"
    "                      the path functions: -f UTF-8 to the default set keeps\n"
    "                      unmappable characters as U+XXXX; -t UTF-8 turns them back\n"
    "  -l, --list          list the sets: name, number, converter, aliases\n"
    "      --default       show the default set and where it came from\n"
    "      --progress      show progress on standard error\n"
    "      --verbose       name each input on standard error as it is converted\n"
    "  -q, --quiet, -s, --silent   no progress, no message about unconvertible input\n"
    "      --chunk-size N  read N bytes at a time\n"
    "  -h, --help          this text\n"
    "  -V, --version       the version\n"
    "\n"
    "Exit status: 0 success; 1 some input could not be converted (the first problem\n"
    "is named on standard error with its byte offset); 2 usage error; 3 read or write\n"
    "error (every input is still tried).\n";

int usage(std::string const& msg) {
    std::fprintf(stderr, "vynconv: %s\n%s(vynconv --help for more)\n", msg.c_str(), kUsageText);
    return kUsage;
}

enum class Action { Convert, List, Default, Help, Version };

struct Options {
    int exitStatus = -1; // set when the command line alone decides the run
    Action action = Action::Convert;
    StreamOptions stream;
    std::string fromText, toText;
    std::string outPath; // empty or "-": standard output
    bool pathMode = false, progress = false, quiet = false, verbose = false;
    bool modeGiven = false;
    std::vector<std::string> files;
};

int resolveSet(std::string const& opt, std::string const& text, Endpoint* e) {
    switch (lookupEndpoint(text.c_str(), e)) {
    case Lookup::Found:
        return 0;
    case Lookup::NoConverter:
        return usage(opt + ": " + VynCharSetToString(e->cs) + " (" + std::to_string(e->cs) +
                     ") has no converter in this library");
    case Lookup::Unknown:
        break;
    }
    return usage(opt + ": unknown character set '" + text + "' (vynconv -l lists them)");
}

// Reads the command line into *o. Returns -1 to go on, or the exit status.
int readArgs(int argc, char** argv, Options* o) {
    bool optionsDone = false;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (optionsDone || a == "-" || a.empty() || a[0] != '-') {
            o->files.push_back(a);
            continue;
        }
        if (a == "--") {
            optionsDone = true;
            continue;
        }
        // Short options may be grouped ("-cs"); one taking a value ends the
        // group and takes the rest of it or the next argument ("-fUTF-8").
        std::vector<std::pair<std::string, std::string>> opts;
        bool hasValue = false;
        if (a.compare(0, 2, "--") == 0) {
            size_t eq = a.find('=');
            if (eq != std::string::npos) {
                opts.push_back({a.substr(0, eq), a.substr(eq + 1)});
                hasValue = true;
            } else {
                opts.push_back({a, ""});
            }
        } else {
            for (size_t j = 1; j < a.size(); ++j) {
                std::string flag = std::string("-") + a[j];
                if (std::strchr("fto", a[j]) && j + 1 < a.size()) {
                    opts.push_back({flag, a.substr(j + 1)});
                    hasValue = true;
                    break;
                }
                opts.push_back({flag, ""});
            }
        }
        for (size_t k = 0; k < opts.size(); ++k) {
            std::string const& opt = opts[k].first;
            bool const last = k + 1 == opts.size();
            auto need = [&](std::string* v) -> bool {
                if (last && hasValue) return *v = opts[k].second, true;
                if (!last || i + 1 >= argc) return false;
                *v = argv[++i];
                return true;
            };
            std::string v;
            if (opt == "-f" || opt == "--from" || opt == "--from-code" || opt == "-t" ||
                opt == "--to" || opt == "--to-code") {
                if (!need(&v)) return usage(opt + " needs a character set");
                bool isFrom = opt == "-f" || opt.compare(0, 6, "--from") == 0;
                (isFrom ? o->fromText : o->toText) = v;
                Endpoint& e = isFrom ? o->stream.from : o->stream.to;
                e = Endpoint();
                if (int rc = resolveSet(opt, v, &e)) return rc;
            } else if (opt == "-o" || opt == "--output") {
                if (!need(&v) || v.empty()) return usage(opt + " needs a file name");
                o->outPath = v;
            } else if (opt == "--on-error") {
                if (!need(&v)) return usage("--on-error needs replace, stop or escape");
                o->modeGiven = true;
                if (v == "replace")
                    o->stream.mode = OnError::Replace;
                else if (v == "stop")
                    o->stream.mode = OnError::Stop;
                else if (v == "escape")
                    o->stream.mode = OnError::Escape;
                else
                    return usage("--on-error: unknown mode '" + v + "' (replace, stop or escape)");
            } else if (opt == "-c") {
                o->modeGiven = true;
                o->stream.mode = OnError::Drop;
            } else if (opt == "--chunk-size") {
                if (!need(&v)) return usage("--chunk-size needs a number");
                char* end = nullptr;
                unsigned long long n = std::strtoull(v.c_str(), &end, 10);
                if (v.empty() || *end || v[0] == '-' || n < 1 || n > (16ull << 20))
                    return usage("--chunk-size: '" + v + "' is not a size from 1 to 16777216");
                o->stream.chunk = static_cast<size_t>(n);
            } else if (opt == "--path") {
                o->pathMode = true;
            } else if (opt == "--lenient") {
                o->stream.lenient = true;
            } else if (opt == "--add-signature") {
                o->stream.addSignature = true;
            } else if (opt == "--remove-signature") {
                o->stream.removeSignature = true;
            } else if (opt == "--progress") {
                o->progress = true;
            } else if (opt == "--verbose") {
                o->verbose = true;
            } else if (opt == "-q" || opt == "--quiet" || opt == "-s" || opt == "--silent") {
                o->quiet = true;
            } else if (opt == "-l" || opt == "--list") {
                o->action = Action::List;
            } else if (opt == "--default") {
                o->action = Action::Default;
            } else if (opt == "-h" || opt == "--help") {
                o->action = Action::Help;
            } else if (opt == "-V" || opt == "--version") {
                o->action = Action::Version;
            } else {
                return usage("unknown option '" + opt + "'");
            }
            if (hasValue && !last) return usage("unknown option '" + a + "'");
        }
    }
    if (o->files.empty()) o->files.push_back("-");
    StreamOptions& s = o->stream;
    // A side left out is the default set, named as the library names it.
    if (o->fromText.empty()) s.from.name = VynCharSetToString(g_oCnvtMgr.defaultCharSet());
    if (o->toText.empty()) s.to.name = VynCharSetToString(g_oCnvtMgr.defaultCharSet());
    s.translit = s.to.translit;
    if (s.to.ignore && !o->modeGiven) s.mode = OnError::Ignore;
    if (o->pathMode && (o->modeGiven || s.lenient))
        return usage("--path keeps every name or reports it: -c, --on-error and --lenient "
                     "do not apply");
    return -1;
}

// A progress line on standard error, refreshed a few times a second.
class TermProgress : public Progress {
public:
    TermProgress(bool forced, bool automatic) : forced_(forced), auto_(automatic) {}
    void start(std::string const& label, int fd) {
        label_ = label;
        total_ = 0;
        struct stat st;
        if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode))
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

void reportProblem(Options const& o, uint64_t count, Problem const& p, char const* unit) {
    if (o.quiet || count == 0) return;
    std::fprintf(stderr, "vynconv: %s: %s %llu: %s", p.where.c_str(), unit,
                 static_cast<unsigned long long>(p.offset), p.what.c_str());
    if (o.stream.mode == OnError::Stop)
        std::fprintf(stderr, "; stopped there\n");
    else if (count > 1)
        std::fprintf(stderr, " (and %llu more)\n", static_cast<unsigned long long>(count - 1));
    else
        std::fputc('\n', stderr);
}

// Converts every input, even after one fails to open. Returns the status.
int convertAll(Options const& o, std::FILE* out) {
    FileOutput sink(out);
    StreamConverter conv(o.stream, sink);
    PathConverter paths(o.stream.from.cs, o.stream.to.cs);
    TermProgress bar(o.progress && !o.quiet, !o.quiet && ::isatty(2));
    int status = kOk;
    for (size_t k = 0; k < o.files.size(); ++k) {
        std::string const& f = o.files[k];
        bool const isStdin = f == "-";
        std::string const label = isStdin ? "<stdin>" : f;
        int fd = isStdin ? 0 : ::open(f.c_str(), O_RDONLY);
        if (fd < 0) {
            std::fprintf(stderr, "vynconv: cannot open input file '%s': %s\n", f.c_str(),
                         std::strerror(errno));
            status = kIoError;
            continue;
        }
        if (o.verbose) std::fprintf(stderr, "%s:\n", label.c_str());
        StreamConverter::Result r;
        if (o.pathMode) {
            r = paths.run(fd, out, label, k) ? StreamConverter::Ok : StreamConverter::ReadError;
        } else {
            bar.start(label, fd);
            r = conv.run(fd, label, k, &bar);
            bar.finish();
        }
        int const err = errno;
        if (!isStdin) ::close(fd);
        if (r == StreamConverter::ReadError) {
            std::fprintf(stderr, "vynconv: %s: read error: %s\n", label.c_str(),
                         std::strerror(err));
            status = kIoError;
        } else if (r == StreamConverter::WriteError) {
            std::fprintf(stderr, "vynconv: write error: %s\n", std::strerror(err));
            return kIoError;
        } else if (r == StreamConverter::Stopped) {
            break;
        }
    }
    bool const counts = o.stream.mode != OnError::Drop;
    if (o.pathMode) {
        reportProblem(o, paths.problemCount(), paths.firstProblem(), "byte");
        if (paths.problemCount() && status == kOk) status = kUnconvertible;
    } else if (conv.problemCount() && counts) {
        reportProblem(o, conv.problemCount(), conv.firstProblem(), "byte");
        if (status == kOk) status = kUnconvertible;
    }
    if (o.stream.mode == OnError::Stop && conv.problemCount() && status == kUnconvertible)
        return -kUnconvertible; // stopped: keep the old output
    return status;
}

int convert(Options const& o) {
    if (o.pathMode) {
        std::string why;
        if (!PathConverter::supported(o.stream.from.cs, o.stream.to.cs, &why)) return usage(why);
    }
    OutputFile target;
    std::string err;
    if (!target.open(o.outPath, &err)) {
        std::fprintf(stderr, "vynconv: %s\n", err.c_str());
        return kIoError;
    }
    static char outBuffer[1 << 16];
    std::setvbuf(target.file(), outBuffer, _IOFBF, sizeof outBuffer);
    int status = convertAll(o, target.file());
    bool const stopped = status < 0;
    if (stopped) status = -status;
    if (status == kIoError || stopped) {
        target.abandon();
        return status;
    }
    if (!target.commit(&err)) {
        std::fprintf(stderr, "vynconv: %s\n", err.c_str());
        return kIoError;
    }
    return status;
}

// The options of a command line; exitStatus >= 0 when it was a usage error.
Options parseArgs(int argc, char** argv) {
    Options o;
    o.exitStatus = readArgs(argc, argv, &o);
    return o;
}

} // namespace

int main(int argc, char** argv) {
    Options const o = parseArgs(argc, argv);
    if (o.exitStatus >= 0) return o.exitStatus;
    switch (o.action) {
    case Action::List:
        printSetList(stdout);
        return kOk;
    case Action::Default:
        printDefault(stdout);
        return kOk;
    case Action::Help:
        std::fputs(kUsageText, stdout);
        std::fputs(kHelpText, stdout);
        return kOk;
    case Action::Version:
        std::printf("vynconv (vynulib64) %s\n", VYNCONV_VERSION);
        return kOk;
    case Action::Convert:
        break;
    }
    return convert(o);
}
