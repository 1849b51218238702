// Throughput of every served character set, both directions, in two shapes:
//   bulk  - calls of up to 64 KiB of input (lines joined by newlines),
//   line  - one call per message-sized line,
// for this library, ICU and glibc iconv, on the same input in the same run.
//
// The input is real translated text (see gather_corpus.py). For each set the
// lines of the languages that fit it are encoded into the set; a line is kept
// only when every converter taking part turns it into the same bytes and back
// into the same units, so all of them get the same, clean work.
//
// Extra flags (besides Google Benchmark's):
//   --corpus=DIR   where gather_corpus.py wrote its files (default: build tree)
//   --kib=N        text per set, in KiB of UTF-16 (default 256)
//
// Benchmark names: <set>/<decode|encode>/<bulk|line>/<impl>, with impl one of
// vyn, icu, icu_utf8 (UTF-8 only: u_strFromUTF8 / u_strToUTF8) and iconv.
// Throughput counts the input bytes of the calls: the set's bytes when
// decoding, UTF-16 bytes when encoding.
#include <vynulib/internal/VynCatalogue.h>
#include <vynulib/vynulib.h>

#include <benchmark/benchmark.h>

#include <iconv.h>

#ifdef VYN_HAVE_ICU
#include <unicode/ucnv.h>
#include <unicode/ustring.h>
#endif

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kBulkBytes = 64 * 1024;

// What a served set is fed and compared with: the languages whose text it
// reads, and the nearest peer converters. Alternatives are separated by '|';
// the first that opens is used. The sets themselves come from the library's
// catalogue; one without a row here is fed every language and has no peer.
struct SetEntry {
    VynCharSet cs;
    char const* groups; // comma-separated corpus files, or "*" for all
    char const* icu;    // nullptr: ICU has no such set
    char const* iconv;  // nullptr: glibc has no such set
    // glibc composes a letter and its marks into one character when it
    // decodes these code pages, so its units differ from ours for the same
    // bytes; only its encoding is compared.
    bool iconvComposes = false;
};

// All the groups, for the Unicode forms.
char const* const kAllGroups =
    "ja,zh_CN,zh_TW,ko,ru,el,th,ar,he,tr,vi,western,central,baltic,nordic,cyrillic,ro";

SetEntry const kPeers[] = {
    {VYNCS_WCP1250, "central", "windows-1250", "CP1250"},
    {VYNCS_WCP1251, "cyrillic", "windows-1251", "CP1251"},
    {VYNCS_WCP1252, "western", "windows-1252", "CP1252"},
    {VYNCS_WCP1253, "el", "windows-1253", "CP1253"},
    {VYNCS_WCP1254, "tr", "windows-1254", "CP1254"},
    {VYNCS_WCP1255, "he", "windows-1255", "CP1255", true},
    {VYNCS_WCP1256, "ar", "windows-1256", "CP1256"},
    {VYNCS_WCP1257, "baltic", "windows-1257", "CP1257"},
    // Vietnamese with separate tone marks, the way this code page holds it.
    {VYNCS_WCP1258, "vi_tones", "windows-1258", "CP1258", true},
    // Our 874 has the IBM layout of the upper bytes; Thai letters are the same
    // everywhere.
    {VYNCS_WCP874, "th", "ibm-874_P100-1995|windows-874-2000", "IBM874|CP874"},
    {VYNCS_ISO_8859_1, "western,nordic", "ISO-8859-1", "ISO-8859-1"},
    {VYNCS_ISO_8859_2, "central", "ISO-8859-2", "ISO-8859-2"},
    {VYNCS_ISO_8859_3, "south,western", "ISO-8859-3", "ISO-8859-3"},
    {VYNCS_ISO_8859_4, "baltic", "ISO-8859-4", "ISO-8859-4"},
    {VYNCS_ISO_8859_5, "cyrillic", "ISO-8859-5", "ISO-8859-5"},
    {VYNCS_ISO_8859_6, "ar", "ISO-8859-6", "ISO-8859-6"},
    {VYNCS_ISO_8859_7, "el", "ISO-8859-7", "ISO-8859-7"},
    {VYNCS_ISO_8859_8, "he", "ISO-8859-8", "ISO-8859-8"},
    {VYNCS_ISO_8859_9, "tr", "ISO-8859-9", "ISO-8859-9"},
    {VYNCS_ISO_8859_10, "nordic,baltic", "ISO-8859-10", "ISO-8859-10"},
    {VYNCS_ISO_8859_11, "th", "ISO-8859-11|x-iso-8859-11", "ISO-8859-11"},
    {VYNCS_ISO_8859_13, "baltic", "ISO-8859-13", "ISO-8859-13"},
    {VYNCS_ISO_8859_14, "celtic", "ISO-8859-14", "ISO-8859-14"},
    {VYNCS_ISO_8859_15, "western", "ISO-8859-15", "ISO-8859-15"},
    {VYNCS_ISO_8859_16, "ro,central", "ISO-8859-16", "ISO-8859-16"},
    {VYNCS_KOI8R, "ru", "KOI8-R", "KOI8-R"},
    {VYNCS_WCP932, "ja", "ibm-943_P15A-2003", "CP932"},
    {VYNCS_WCP936, "zh_CN", "windows-936-2000", "CP936"},
    {VYNCS_WCP949, "ko", "windows-949-2000", "CP949"},
    {VYNCS_WCP950, "zh_TW", "windows-950-2000", "CP950"},
    {VYNCS_GB18030, "zh_CN", "gb18030", "GB18030"},
    {VYNCS_BIG5, "zh_TW", "ibm-1373_P100-2002|Big5", "BIG5"},
    {VYNCS_SHIFTJIS, "ja", "ibm-943_P130-1999|Shift_JIS", "SHIFT_JIS"},
    {VYNCS_SJIS0213, "ja", nullptr, "SHIFT_JISX0213"},
    {VYNCS_EUC_KR, "ko", "ibm-970_P110_P110-2006_U2|EUC-KR", "EUC-KR"},
    {VYNCS_EUC_CN, "zh_CN", "ibm-1383_P110-1999|EUC-CN", "EUC-CN"},
    {VYNCS_EUC_JP, "ja", "ibm-33722_P12A_P12A-2009_U2|EUC-JP", "EUC-JP"},
    {VYNCS_UTF8, "*", "UTF-8", "UTF-8"},
    {VYNCS_UTF16, "*", "UTF-16LE", "UTF-16LE"},
    {VYNCS_UTF32, "*", "UTF-32LE", "UTF-32LE"},
    {VYNCS_UTF16ESC, "*", nullptr, nullptr},
};

std::vector<std::string> split(std::string const& s, char sep) {
    std::vector<std::string> out;
    std::string cur;
    std::istringstream in(s);
    while (std::getline(in, cur, sep))
        if (!cur.empty()) out.push_back(cur);
    return out;
}

// Strict UTF-8 to UTF-16 for reading the corpus; lines that are not clean
// BMP text are dropped (the library's UTF-8 reader reports every four-byte
// form, which would keep such lines out of the UTF-8 set anyway).
bool utf8ToBmp(std::string const& s, std::u16string& out) {
    out.clear();
    std::size_t i = 0;
    while (i < s.size()) {
        unsigned char b = static_cast<unsigned char>(s[i]);
        std::uint32_t v;
        std::size_t len;
        if (b < 0x80) {
            v = b;
            len = 1;
        } else if (b >= 0xC2 && b < 0xE0) {
            v = b & 0x1F;
            len = 2;
        } else if (b >= 0xE0 && b < 0xF0) {
            v = b & 0x0F;
            len = 3;
        } else {
            return false;
        }
        if (i + len > s.size()) return false;
        for (std::size_t k = 1; k < len; ++k) {
            unsigned char c = static_cast<unsigned char>(s[i + k]);
            if ((c & 0xC0) != 0x80) return false;
            v = (v << 6) | (c & 0x3F);
        }
        if ((len == 3 && v < 0x800) || (v >= 0xD800 && v < 0xE000) || v == 0) return false;
        out.push_back(static_cast<char16_t>(v));
        i += len;
    }
    return !out.empty();
}

// --- the converters under test -----------------------------------------------

// Inputs carry their terminator behind [src, src + len) (a zero unit of the
// set), since the library reads up to it; the peers are given the length.
class Impl {
public:
    explicit Impl(std::string name) : m_name(std::move(name)) {}
    virtual ~Impl() = default;
    std::string const& name() const { return m_name; }
    bool composes = false; // decodes to composed characters (see SetEntry)
    // Returns UTF-16 units written.
    virtual std::size_t decode(char const* src, std::size_t len, char16_t* dst,
                               std::size_t cap) = 0;
    // Returns bytes written.
    virtual std::size_t encode(char16_t const* src, std::size_t units, char* dst,
                               std::size_t cap) = 0;

private:
    std::string m_name;
};

class VynImpl : public Impl {
public:
    explicit VynImpl(VynCharSet cs)
        : Impl("vyn"), m_conv(VynCharSetConverter::getConverter(cs)), m_cs(cs) {}
    std::size_t decode(char const* src, std::size_t len, char16_t* dst, std::size_t cap) override {
        bool flag = false;
        // The UTF-16 form copies only as many units as the source limit allows.
        int const limit = m_cs == VYNCS_UTF16 ? static_cast<int>(len / 2) : -1;
        return m_conv->toUTF16(reinterpret_cast<unsigned short*>(dst), src, cap, ILLCHAR_REPLACE,
                               &flag, limit);
    }
    std::size_t encode(char16_t const* src, std::size_t, char* dst, std::size_t cap) override {
        bool flag = false;
        return m_conv->fromUTF16(dst, reinterpret_cast<unsigned short const*>(src), cap,
                                 ILLCHAR_REPLACE, &flag);
    }
    // For building the corpus: encode with STOP and report the flag.
    bool encodeClean(std::u16string const& s, std::string& out) {
        std::size_t const cap = s.size() * 6 + 8;
        out.assign(cap + 4, '\0');
        bool flag = false;
        unsigned long n = m_conv->fromUTF16(
            &out[0], reinterpret_cast<unsigned short const*>(s.c_str()), cap, ILLCHAR_STOP, &flag);
        out.resize(n);
        return !flag;
    }
    bool decodeClean(std::string const& bytes, std::u16string& out) {
        std::string src = bytes;
        src.append(4, '\0');
        out.assign(bytes.size() + 4, u'\0');
        bool flag = false;
        int const limit = m_cs == VYNCS_UTF16 ? static_cast<int>(bytes.size() / 2) : -1;
        unsigned long n = m_conv->toUTF16(reinterpret_cast<unsigned short*>(&out[0]), src.data(),
                                          bytes.size() + 2, ILLCHAR_STOP, &flag, limit);
        out.resize(n);
        return !flag;
    }
    int nullSize() const { return m_conv->getNullCharSize(); }

private:
    VynCharSetConverter* m_conv;
    VynCharSet m_cs;
};

class IconvImpl : public Impl {
public:
    static std::unique_ptr<IconvImpl> open(char const* names) {
        if (!names) return nullptr;
        for (auto const& n : split(names, '|')) {
            iconv_t to = iconv_open("UTF-16LE", n.c_str());
            if (to == reinterpret_cast<iconv_t>(-1)) continue;
            iconv_t from = iconv_open(n.c_str(), "UTF-16LE");
            if (from == reinterpret_cast<iconv_t>(-1)) {
                iconv_close(to);
                continue;
            }
            return std::unique_ptr<IconvImpl>(new IconvImpl(to, from, n));
        }
        return nullptr;
    }
    ~IconvImpl() override {
        iconv_close(m_to);
        iconv_close(m_from);
    }
    std::size_t decode(char const* src, std::size_t len, char16_t* dst, std::size_t cap) override {
        char* in = const_cast<char*>(src);
        char* out = reinterpret_cast<char*>(dst);
        std::size_t inLeft = len, outLeft = cap * 2;
        if (iconv(m_to, &in, &inLeft, &out, &outLeft) == static_cast<std::size_t>(-1)) return 0;
        // A composing decoder holds the last letter back for marks that may
        // follow; only a flush lets it out.
        if (composes &&
            iconv(m_to, nullptr, nullptr, &out, &outLeft) == static_cast<std::size_t>(-1))
            return 0;
        return (cap * 2 - outLeft) / 2;
    }
    std::size_t encode(char16_t const* src, std::size_t units, char* dst,
                       std::size_t cap) override {
        char* in = reinterpret_cast<char*>(const_cast<char16_t*>(src));
        char* out = dst;
        std::size_t inLeft = units * 2, outLeft = cap;
        if (iconv(m_from, &in, &inLeft, &out, &outLeft) == static_cast<std::size_t>(-1)) return 0;
        if (composes &&
            iconv(m_from, nullptr, nullptr, &out, &outLeft) == static_cast<std::size_t>(-1))
            return 0;
        return cap - outLeft;
    }
    std::string const& peerName() const { return m_peer; }

private:
    IconvImpl(iconv_t to, iconv_t from, std::string peer)
        : Impl("iconv"), m_to(to), m_from(from), m_peer(std::move(peer)) {}
    iconv_t m_to;
    iconv_t m_from;
    std::string m_peer;
};

#ifdef VYN_HAVE_ICU
class IcuImpl : public Impl {
public:
    static std::unique_ptr<IcuImpl> open(char const* names) {
        if (!names) return nullptr;
        for (auto const& n : split(names, '|')) {
            UErrorCode e = U_ZERO_ERROR;
            UConverter* c = ucnv_open(n.c_str(), &e);
            if (U_FAILURE(e) || !c) continue;
            // A fallback mapping or an alias may hide a missing table.
            if (e == U_USING_DEFAULT_WARNING || e == U_USING_FALLBACK_WARNING) {
                ucnv_close(c);
                continue;
            }
            return std::unique_ptr<IcuImpl>(new IcuImpl(c, ucnv_getName(c, &e)));
        }
        return nullptr;
    }
    ~IcuImpl() override { ucnv_close(m_cnv); }
    std::size_t decode(char const* src, std::size_t len, char16_t* dst, std::size_t cap) override {
        UErrorCode e = U_ZERO_ERROR;
        int32_t n = ucnv_toUChars(m_cnv, reinterpret_cast<UChar*>(dst), static_cast<int32_t>(cap),
                                  src, static_cast<int32_t>(len), &e);
        return U_FAILURE(e) ? 0 : static_cast<std::size_t>(n);
    }
    std::size_t encode(char16_t const* src, std::size_t units, char* dst,
                       std::size_t cap) override {
        UErrorCode e = U_ZERO_ERROR;
        int32_t n =
            ucnv_fromUChars(m_cnv, dst, static_cast<int32_t>(cap),
                            reinterpret_cast<UChar const*>(src), static_cast<int32_t>(units), &e);
        return U_FAILURE(e) ? 0 : static_cast<std::size_t>(n);
    }
    std::string const& peerName() const { return m_peer; }

private:
    IcuImpl(UConverter* c, char const* peer) : Impl("icu"), m_cnv(c), m_peer(peer ? peer : "") {}
    UConverter* m_cnv;
    std::string m_peer;
};

// ICU's direct UTF-8 functions, its fastest UTF-8 path.
class IcuUtf8Impl : public Impl {
public:
    IcuUtf8Impl() : Impl("icu_utf8") {}
    std::size_t decode(char const* src, std::size_t len, char16_t* dst, std::size_t cap) override {
        UErrorCode e = U_ZERO_ERROR;
        int32_t n = 0;
        u_strFromUTF8(reinterpret_cast<UChar*>(dst), static_cast<int32_t>(cap), &n, src,
                      static_cast<int32_t>(len), &e);
        return U_FAILURE(e) ? 0 : static_cast<std::size_t>(n);
    }
    std::size_t encode(char16_t const* src, std::size_t units, char* dst,
                       std::size_t cap) override {
        UErrorCode e = U_ZERO_ERROR;
        int32_t n = 0;
        u_strToUTF8(dst, static_cast<int32_t>(cap), &n, reinterpret_cast<UChar const*>(src),
                    static_cast<int32_t>(units), &e);
        return U_FAILURE(e) ? 0 : static_cast<std::size_t>(n);
    }
};
#endif

// --- per-set work ----------------------------------------------------------------

// Texts stored back to back, each followed by a terminator of the set (which
// also terminates for the UTF-16 side: 4 zero bytes cover every unit size).
// Offsets keep 4-byte alignment, so units and 32-bit values are read aligned.
struct Texts {
    std::string buf;
    std::vector<std::pair<std::size_t, std::size_t>> spans; // offset, length in bytes
    std::size_t total = 0;
    std::size_t longest = 0;

    void add(char const* p, std::size_t n) {
        if (buf.empty()) buf.reserve(64 * 1024); // heap storage: 16-byte aligned
        spans.emplace_back(buf.size(), n);
        buf.append(p, n);
        buf.append(4 + (4 - n % 4) % 4, '\0');
        total += n;
        longest = std::max(longest, n);
    }
};

struct SetWork {
    std::string name;
    Texts decLine, decBulk; // input: the set's bytes
    Texts encLine, encBulk; // input: UTF-16
    std::vector<std::unique_ptr<Impl>> impls;
    std::size_t kept = 0, offered = 0;
    std::map<std::string, std::size_t> dropped; // by the converter that disagreed
};

std::map<std::string, std::vector<std::u16string>> g_groups;

std::vector<std::u16string> const& loadGroup(std::string const& dir, std::string const& g) {
    auto it = g_groups.find(g);
    if (it != g_groups.end()) return it->second;
    auto& lines = g_groups[g];
    if (g == "ascii") {
        // The western lines that are pure ASCII.
        for (auto const& u : loadGroup(dir, "western"))
            if (std::all_of(u.begin(), u.end(), [](char16_t c) { return c < 0x80; }))
                lines.push_back(u);
        return lines;
    }
    std::ifstream in(dir + "/" + g + ".txt", std::ios::binary);
    if (!in) std::fprintf(stderr, "bench: no corpus file %s/%s.txt\n", dir.c_str(), g.c_str());
    std::string line;
    std::u16string u;
    while (std::getline(in, line))
        if (utf8ToBmp(line, u)) lines.push_back(u);
    return lines;
}

bool sameAs(Impl& impl, std::u16string const& text, std::string const& bytes) {
    std::string src = bytes;
    src.append(4, '\0');
    std::vector<char16_t> u(bytes.size() + 8);
    std::size_t n = impl.decode(src.data(), bytes.size(), u.data(), bytes.size() + 2);
    if (impl.composes ? n == 0 : std::u16string(u.data(), n) != text) return false;
    std::vector<char> b(text.size() * 6 + 8);
    std::size_t m = impl.encode(text.c_str(), text.size(), b.data(), text.size() * 6 + 4);
    return std::string(b.data(), m) == bytes;
}

std::unique_ptr<SetWork> buildSet(SetEntry const& set, std::string const& dir, std::size_t capBytes,
                                  std::string const& suffix = "") {
    auto w = std::make_unique<SetWork>();
    char const* full = VynCharSetToString(set.cs);
    w->name = std::strncmp(full, "VYNCS_", 6) == 0 ? full + 6 : full;
    w->name += suffix;

    auto vyn = std::make_unique<VynImpl>(set.cs);
    VynImpl& lib = *vyn;
    w->impls.push_back(std::move(vyn));
#ifdef VYN_HAVE_ICU
    if (auto icu = IcuImpl::open(set.icu))
        w->impls.push_back(std::move(icu));
    else if (set.icu)
        std::fprintf(stderr, "bench: %s: ICU has no %s\n", w->name.c_str(), set.icu);
    if (set.cs == VYNCS_UTF8) w->impls.push_back(std::make_unique<IcuUtf8Impl>());
#endif
    if (auto ic = IconvImpl::open(set.iconv)) {
        ic->composes = set.iconvComposes;
        w->impls.push_back(std::move(ic));
    } else if (set.iconv)
        std::fprintf(stderr, "bench: %s: iconv has no %s\n", w->name.c_str(), set.iconv);

    std::vector<std::vector<std::u16string> const*> sources;
    for (auto const& g : split(std::strcmp(set.groups, "*") == 0 ? kAllGroups : set.groups, ','))
        sources.push_back(&loadGroup(dir, g));

    std::string newline;
    lib.encodeClean(u"\n", newline);

    std::string bytes, joinedDec;
    std::u16string back, joinedEnc;
    std::size_t utf16Total = 0;
    auto flushDec = [&] {
        if (!joinedDec.empty()) w->decBulk.add(joinedDec.data(), joinedDec.size());
        joinedDec.clear();
    };
    auto flushEnc = [&] {
        if (!joinedEnc.empty())
            w->encBulk.add(reinterpret_cast<char const*>(joinedEnc.data()), joinedEnc.size() * 2);
        joinedEnc.clear();
    };
    // Round-robin over the groups so each contributes while the cap allows.
    for (std::size_t i = 0; utf16Total < capBytes; ++i) {
        bool any = false;
        for (auto const* src : sources) {
            if (i >= src->size() || utf16Total >= capBytes) continue;
            any = true;
            std::u16string const& text = (*src)[i];
            ++w->offered;
            if (!lib.encodeClean(text, bytes) || bytes.empty() || !lib.decodeClean(bytes, back) ||
                back != text) {
                ++w->dropped["vyn"];
                continue;
            }
            bool agreed = true;
            for (std::size_t k = 1; k < w->impls.size() && agreed; ++k) {
                if (!sameAs(*w->impls[k], text, bytes)) {
                    ++w->dropped[w->impls[k]->name()];
                    agreed = false;
                }
            }
            if (!agreed) continue;
            ++w->kept;
            utf16Total += text.size() * 2;
            w->decLine.add(bytes.data(), bytes.size());
            w->encLine.add(reinterpret_cast<char const*>(text.data()), text.size() * 2);
            if (joinedDec.size() + newline.size() + bytes.size() > kBulkBytes) flushDec();
            if (!joinedDec.empty()) joinedDec += newline;
            joinedDec += bytes;
            if ((joinedEnc.size() + 1 + text.size()) * 2 > kBulkBytes) flushEnc();
            if (!joinedEnc.empty()) joinedEnc += u'\n';
            joinedEnc += text;
        }
        if (!any) break;
    }
    flushDec();
    flushEnc();
    return w;
}

// Output room for any input of the set: 6 bytes per unit covers the escaped
// form, one unit per input byte covers every decoder.
struct Buffers {
    std::vector<char16_t> units;
    std::vector<char> bytes;
};

void runDecode(benchmark::State& state, Impl* impl, Texts const* t) {
    Buffers b;
    std::size_t const cap = t->longest + 2;
    b.units.resize(cap + 2);
    std::size_t sum = 0;
    for (auto _ : state) {
        for (auto const& s : t->spans)
            sum += impl->decode(t->buf.data() + s.first, s.second, b.units.data(), cap);
        benchmark::DoNotOptimize(sum);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(t->total));
    state.counters["calls"] = static_cast<double>(t->spans.size());
}

void runEncode(benchmark::State& state, Impl* impl, Texts const* t) {
    Buffers b;
    std::size_t const cap = t->longest / 2 * 6 + 8;
    b.bytes.resize(cap + 4);
    std::size_t sum = 0;
    for (auto _ : state) {
        for (auto const& s : t->spans)
            sum += impl->encode(reinterpret_cast<char16_t const*>(t->buf.data() + s.first),
                                s.second / 2, b.bytes.data(), cap);
        benchmark::DoNotOptimize(sum);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(t->total));
    state.counters["calls"] = static_cast<double>(t->spans.size());
}

std::vector<std::unique_ptr<SetWork>> g_work;

// --- the entry points ----------------------------------------------------------
//
// LocalToUTF8 and the five others, as callers make them, against ICU (two
// converters opened once and ucnv_convertEx between them; ucnv_toUChars /
// ucnv_fromUChars and u_strFromUTF8 / u_strToUTF8 where one side is UTF-16)
// and iconv between the two sets directly. Names: <fn>:<set>/entry/<shape>/<impl>.

enum class Fn {
    kLocalToUTF8,
    kUTF8ToLocal,
    kLocalToUTF16,
    kUTF16ToLocal,
    kUTF8ToUTF16,
    kUTF16ToUTF8
};

char const* fnName(Fn f) {
    switch (f) {
    case Fn::kLocalToUTF8:
        return "LocalToUTF8";
    case Fn::kUTF8ToLocal:
        return "UTF8ToLocal";
    case Fn::kLocalToUTF16:
        return "LocalToUTF16";
    case Fn::kUTF16ToLocal:
        return "UTF16ToLocal";
    case Fn::kUTF8ToUTF16:
        return "UTF8ToUTF16";
    default:
        return "UTF16ToUTF8";
    }
}

// Input and output of each function: 'l' local bytes, '8' UTF-8, 'w' UTF-16.
char fnFrom(Fn f) {
    return f == Fn::kLocalToUTF8 || f == Fn::kLocalToUTF16  ? 'l'
           : f == Fn::kUTF8ToLocal || f == Fn::kUTF8ToUTF16 ? '8'
                                                            : 'w';
}
char fnTo(Fn f) {
    return f == Fn::kUTF8ToLocal || f == Fn::kUTF16ToLocal  ? 'l'
           : f == Fn::kLocalToUTF8 || f == Fn::kUTF16ToUTF8 ? '8'
                                                            : 'w';
}

// Runs one call: len input bytes at src (terminated), cap bytes of room at dst.
class EntryImpl {
public:
    explicit EntryImpl(std::string name) : m_name(std::move(name)) {}
    virtual ~EntryImpl() = default;
    std::string const& name() const { return m_name; }
    virtual std::size_t run(char const* src, std::size_t len, char* dst, std::size_t cap) = 0;

private:
    std::string m_name;
};

class VynEntry : public EntryImpl {
public:
    VynEntry(Fn f, VynCharSet cs) : EntryImpl("vyn"), m_f(f), m_cs(cs) {}
    std::size_t run(char const* src, std::size_t, char* dst, std::size_t cap) override {
        auto* u8 = reinterpret_cast<unsigned char*>(dst);
        auto* u16 = reinterpret_cast<unsigned short*>(dst);
        auto const* s8 = reinterpret_cast<unsigned char const*>(src);
        auto const* s16 = reinterpret_cast<unsigned short const*>(src);
        switch (m_f) {
        case Fn::kLocalToUTF8:
            return LocalToUTF8(u8, src, cap, m_cs);
        case Fn::kUTF8ToLocal:
            return UTF8ToLocal(dst, s8, cap, m_cs);
        case Fn::kLocalToUTF16:
            return static_cast<std::size_t>(
                LocalToUTF16(u16, src, static_cast<int>(cap / 2), m_cs));
        case Fn::kUTF16ToLocal:
            return UTF16ToLocal(dst, s16, cap, m_cs);
        case Fn::kUTF8ToUTF16:
            return UTF8ToUTF16(u16, s8, cap / 2);
        default:
            return UTF16ToUTF8(u8, s16, cap);
        }
    }

private:
    Fn m_f;
    VynCharSet m_cs;
};

class IconvEntry : public EntryImpl {
public:
    static std::unique_ptr<IconvEntry> open(char const* to, char const* from) {
        iconv_t cd = iconv_open(to, from);
        if (cd == reinterpret_cast<iconv_t>(-1)) return nullptr;
        return std::unique_ptr<IconvEntry>(new IconvEntry(cd));
    }
    ~IconvEntry() override { iconv_close(m_cd); }
    std::size_t run(char const* src, std::size_t len, char* dst, std::size_t cap) override {
        char* in = const_cast<char*>(src);
        char* out = dst;
        std::size_t inLeft = len, outLeft = cap;
        if (iconv(m_cd, &in, &inLeft, &out, &outLeft) == static_cast<std::size_t>(-1)) return 0;
        return cap - outLeft;
    }

private:
    explicit IconvEntry(iconv_t cd) : EntryImpl("iconv"), m_cd(cd) {}
    iconv_t m_cd;
};

#ifdef VYN_HAVE_ICU
class IcuEntry : public EntryImpl {
public:
    static std::unique_ptr<IcuEntry> open(Fn f, char const* local) {
        UErrorCode e = U_ZERO_ERROR;
        UConverter* l = ucnv_open(local, &e);
        if (U_FAILURE(e)) return nullptr;
        UConverter* u = ucnv_open("UTF-8", &e);
        if (U_FAILURE(e)) {
            ucnv_close(l);
            return nullptr;
        }
        return std::unique_ptr<IcuEntry>(new IcuEntry(f, l, u));
    }
    ~IcuEntry() override {
        ucnv_close(m_local);
        ucnv_close(m_utf8);
    }
    std::size_t run(char const* src, std::size_t len, char* dst, std::size_t cap) override {
        UErrorCode e = U_ZERO_ERROR;
        auto const* s16 = reinterpret_cast<UChar const*>(src);
        auto* d16 = reinterpret_cast<UChar*>(dst);
        auto const n = static_cast<int32_t>(len);
        auto const c = static_cast<int32_t>(cap);
        int32_t r = 0;
        switch (m_f) {
        case Fn::kLocalToUTF8:
        case Fn::kUTF8ToLocal: {
            UConverter* to = m_f == Fn::kLocalToUTF8 ? m_utf8 : m_local;
            UConverter* from = m_f == Fn::kLocalToUTF8 ? m_local : m_utf8;
            char* t = dst;
            char const* sp = src;
            ucnv_convertEx(to, from, &t, dst + cap, &sp, src + len, nullptr, nullptr, nullptr,
                           nullptr, true, true, &e);
            r = static_cast<int32_t>(t - dst);
            break;
        }
        case Fn::kLocalToUTF16:
            r = ucnv_toUChars(m_local, d16, c / 2, src, n, &e);
            break;
        case Fn::kUTF16ToLocal:
            r = ucnv_fromUChars(m_local, dst, c, s16, n / 2, &e);
            break;
        case Fn::kUTF8ToUTF16:
            u_strFromUTF8(d16, c / 2, &r, src, n, &e);
            break;
        default:
            u_strToUTF8(dst, c, &r, s16, n / 2, &e);
            break;
        }
        return U_FAILURE(e) ? 0 : static_cast<std::size_t>(r);
    }

private:
    IcuEntry(Fn f, UConverter* l, UConverter* u)
        : EntryImpl("icu"), m_f(f), m_local(l), m_utf8(u) {}
    Fn m_f;
    UConverter* m_local;
    UConverter* m_utf8;
};
#endif

struct EntryWork {
    std::string name;
    Texts const* line;
    Texts const* bulk;
    std::vector<std::unique_ptr<EntryImpl>> impls;
};

std::vector<std::unique_ptr<EntryWork>> g_entries;
std::vector<std::unique_ptr<Texts>> g_utf8Texts;

// The UTF-16 texts again as UTF-8.
Texts const* asUtf8(Texts const& w) {
    auto t = std::make_unique<Texts>();
    VynCharSetConverter* c = VynCharSetConverter::getConverter(VYNCS_UTF8);
    std::string out;
    for (auto const& s : w.spans) {
        out.assign(s.second * 3 / 2 + 8, '\0');
        unsigned long n =
            c->fromUTF16(&out[0], reinterpret_cast<unsigned short const*>(w.buf.data() + s.first),
                         out.size() - 4, ILLCHAR_REPLACE, nullptr);
        t->add(out.data(), n);
    }
    g_utf8Texts.push_back(std::move(t));
    return g_utf8Texts.back().get();
}

void runEntry(benchmark::State& state, EntryImpl* impl, Texts const* t) {
    std::size_t const cap = t->longest * 4 + 16;
    std::vector<char> dst(cap + 8);
    std::size_t sum = 0;
    for (auto _ : state) {
        for (auto const& s : t->spans)
            sum += impl->run(t->buf.data() + s.first, s.second, dst.data(), cap);
        benchmark::DoNotOptimize(sum);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(t->total));
    state.counters["calls"] = static_cast<double>(t->spans.size());
}

// The local sets the entry points are measured with.
struct EntrySet {
    VynCharSet cs;
    char const* icu;
    char const* iconv;
};
EntrySet const kEntrySets[] = {
    {VYNCS_UTF8, "UTF-8", "UTF-8"},
    {VYNCS_WCP932, "ibm-943_P15A-2003", "CP932"},
    {VYNCS_WCP936, "windows-936-2000", "CP936"},
    {VYNCS_WCP1252, "windows-1252", "CP1252"},
    {VYNCS_ISO_8859_1, "ISO-8859-1", "ISO-8859-1"},
};

void addEntries(SetWork const& w, EntrySet const& es) {
    Texts const* u8Line = asUtf8(w.encLine);
    Texts const* u8Bulk = asUtf8(w.encBulk);
    for (Fn f : {Fn::kLocalToUTF8, Fn::kUTF8ToLocal, Fn::kLocalToUTF16, Fn::kUTF16ToLocal,
                 Fn::kUTF8ToUTF16, Fn::kUTF16ToUTF8}) {
        // The two UTF-8/UTF-16 functions do not depend on the local set.
        bool const local = fnFrom(f) == 'l' || fnTo(f) == 'l';
        if (!local && es.cs != VYNCS_UTF8) continue;
        auto e = std::make_unique<EntryWork>();
        e->name = std::string(fnName(f)) + (local ? ":" + w.name : "");
        char const from = fnFrom(f);
        e->line = from == 'l' ? &w.decLine : from == '8' ? u8Line : &w.encLine;
        e->bulk = from == 'l' ? &w.decBulk : from == '8' ? u8Bulk : &w.encBulk;
        e->impls.push_back(std::make_unique<VynEntry>(f, es.cs));
#ifdef VYN_HAVE_ICU
        if (auto icu = IcuEntry::open(f, es.icu)) e->impls.push_back(std::move(icu));
#endif
        auto side = [&](char k) { return k == 'l' ? es.iconv : k == '8' ? "UTF-8" : "UTF-16LE"; };
        if (auto ic = IconvEntry::open(side(fnTo(f)), side(from)))
            e->impls.push_back(std::move(ic));
        for (auto const& impl : e->impls) {
            std::string base = e->name + "/entry/";
            benchmark::RegisterBenchmark((base + "bulk/" + impl->name()).c_str(), runEntry,
                                         impl.get(), e->bulk);
            benchmark::RegisterBenchmark((base + "line/" + impl->name()).c_str(), runEntry,
                                         impl.get(), e->line);
        }
        g_entries.push_back(std::move(e));
    }
}

} // namespace

int main(int argc, char** argv) {
    std::string dir = VYN_BENCH_CORPUS_DIR;
    std::size_t kib = 256;
    // Take our own flags out before Google Benchmark sees the rest.
    int out = 1;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a.rfind("--corpus=", 0) == 0)
            dir = a.substr(9);
        else if (a.rfind("--kib=", 0) == 0)
            kib = std::strtoul(a.c_str() + 6, nullptr, 10);
        else
            argv[out++] = argv[i];
    }
    argc = out;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    if (kib == 0) kib = 1;
    benchmark::AddCustomContext("vyn_build_type", VYN_BENCH_BUILD_TYPE);
    benchmark::AddCustomContext("vyn_corpus", dir);
    benchmark::AddCustomContext("vyn_kib_per_set", std::to_string(kib));

    // UTF-8 once per language too (and on pure-ASCII text), GB18030 on
    // four-byte text.
    std::vector<std::pair<SetEntry, std::string>> runs;
    for (VynCharSet cs : vyn::catalogue::kServed) {
        SetEntry set{cs, "*", nullptr, nullptr};
        for (auto const& p : kPeers)
            if (p.cs == cs) set = p;
        runs.emplace_back(set, "");
        if (set.cs == VYNCS_GB18030) {
            // Korean text lies in the four-byte area.
            SetEntry one = set;
            runs.emplace_back(one, ".ko");
        }
        if (set.cs != VYNCS_UTF8) continue;
        for (auto const& g : split(std::string(kAllGroups) + ",ascii", ',')) {
            SetEntry one = set;
            one.groups = g == "ascii" ? "ascii" : nullptr;
            runs.emplace_back(one, "." + g);
        }
    }
    std::vector<std::string> keepGroups;
    keepGroups.reserve(runs.size());
    for (auto& r : runs) {
        auto const& set = r.first;
        if (!r.second.empty()) {
            keepGroups.push_back(r.second.substr(1));
            r.first.groups = keepGroups.back().c_str();
        }
        auto w = buildSet(set, dir, kib * 1024, r.second);
        std::string drops;
        for (auto const& d : w->dropped) drops += " " + d.first + ":" + std::to_string(d.second);
        std::fprintf(stderr, "bench: %-12s kept %6zu of %6zu lines (%7zu bytes)%s%s\n",
                     w->name.c_str(), w->kept, w->offered, w->decLine.total,
                     drops.empty() ? "" : ", dropped", drops.c_str());
        if (w->kept == 0) {
            std::fprintf(stderr, "bench: %s: no text, skipped (run gather_corpus.py?)\n",
                         w->name.c_str());
            continue;
        }
        SetWork* sw = w.get();
        for (auto const& impl : sw->impls) {
            Impl* p = impl.get();
            std::string base = sw->name + "/";
            benchmark::RegisterBenchmark((base + "decode/bulk/" + p->name()).c_str(), runDecode, p,
                                         &sw->decBulk);
            benchmark::RegisterBenchmark((base + "decode/line/" + p->name()).c_str(), runDecode, p,
                                         &sw->decLine);
            benchmark::RegisterBenchmark((base + "encode/bulk/" + p->name()).c_str(), runEncode, p,
                                         &sw->encBulk);
            benchmark::RegisterBenchmark((base + "encode/line/" + p->name()).c_str(), runEncode, p,
                                         &sw->encLine);
        }
        if (r.second.empty())
            for (auto const& es : kEntrySets)
                if (es.cs == set.cs) addEntries(*sw, es);
        g_work.push_back(std::move(w));
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    g_entries.clear();
    g_work.clear();
    return 0;
}
