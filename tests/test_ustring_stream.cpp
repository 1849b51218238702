// VynUString through byte streams: operator<<, operator>> and both getline.
// Inputs are ASCII (every default set maps it to itself) except for 0xFF,
// which the readers treat as the end of input before any conversion.
#include <iomanip>
#include <sstream>
#include <vector>

#include "ustring_test_support.h"

namespace {

using State = std::ios_base::iostate;
constexpr State kGood = std::ios_base::goodbit;
constexpr State kEof = std::ios_base::eofbit;
constexpr State kFail = std::ios_base::failbit;

// What is still in the stream, read without disturbing its state bits.
std::string rest(std::istream& is) {
    std::string r;
    for (int c = is.rdbuf()->sbumpc(); c != std::char_traits<char>::eof(); c = is.rdbuf()->sbumpc())
        r += static_cast<char>(c);
    return r;
}

// Reads with operator>> (kWord), getline(is, s) (kLine) or getline with the
// delimiter given.
constexpr int kWord = -1, kLine = -2;

std::istream& read(int how, std::istream& is, VynUString& s) {
    if (how == kWord) return is >> s;
    return how == kLine ? getline(is, s) : getline(is, s, static_cast<char>(how));
}

// A width w reads at most w - 1 bytes; 0xFF ends the input before any
// conversion and stays unread. Carriage return, not line feed, ends a line
// by default. Old state bits stay (no sentry).
TEST(UStringStream, Read) {
    std::string const big(100000, 'x');
    struct Case {
        int reader;
        std::string in;
        std::streamsize width;
        std::string word;
        State state;
        std::string left;
    } const cases[] = {
        {kWord, "  ab cd", 0, "ab", kGood, " cd"},
        {kWord, "ab", 0, "ab", kEof, ""},
        {kWord, "\t\n\r\v\fab\ncd", 0, "ab", kGood, "\ncd"},
        {kWord, "   ", 0, "", kEof | kFail, ""},
        {kWord, "", 0, "", kEof | kFail, ""},
        {kWord, "abcdef", 4, "abc", kGood, "def"},
        {kWord, "  abcdef", 3, "ab", kGood, "cdef"},
        {kWord, "ab", 3, "ab", kGood, ""}, // the limit comes before the end is seen
        {kWord, "abcdef", 1, "", kFail, "abcdef"},
        {kWord, "  ab", 1, "", kFail, "  ab"},
        {kWord, "abc", -5, "abc", kEof, ""},
        {kWord, "ab\377cd", 0, "ab", kEof, "\377cd"},
        {kWord, "  \377ab", 0, "", kEof | kFail, "\377ab"},
        {kWord, big + " tail", 0, big, kGood, " tail"},
        {kLine, "ab\ncd", 0, "ab\ncd", kEof, ""},
        {kLine, "ab\rcd", 0, "ab", kGood, "cd"},
        {kLine, "\rab", 0, "", kFail, "ab"},
        {'\n', "  ab  \ncd", 0, "  ab  ", kGood, "cd"},
        {'\n', "\n", 0, "", kFail, ""},
        {'\n', "", 0, "", kEof | kFail, ""},
        {'\n', "abcdef\n", 3, "ab", kGood, "cdef\n"},
        {'\n', "ab\n", 3, "ab", kGood, "\n"}, // limit first: delimiter stays
        {'\n', "ab\n", 1, "", kFail, "ab\n"},
        {'\n', "ab\377c\n", 0, "ab", kEof, "\377c\n"},
        {';', "a b;c", 0, "a b", kGood, "c"},
        {';', "a b", 0, "a b", kEof, ""},
    };
    for (auto const& c : cases) {
        std::istringstream is(c.in);
        is.width(c.width);
        VynUString s = U(u"previous");
        read(c.reader, is, s);
        SCOPED_TRACE("case " + std::to_string(&c - cases));
        EXPECT_EQ(S(s), u16string(c.word.begin(), c.word.end()));
        EXPECT_EQ(is.rdstate(), c.state);
        EXPECT_EQ(is.width(), 0);
        EXPECT_EQ(rest(is), c.left);
    }
    std::istringstream is("ab");
    is.setstate(kEof);
    VynUString s;
    is >> s;
    EXPECT_EQ(S(s), u"ab");
    EXPECT_EQ(is.rdstate(), kEof);
    // Bytes 0x80 and up never count as space. The text they make depends on
    // the default set; where the word ends does not.
    std::istringstream na("a\205\240b c");
    na >> s;
    EXPECT_FALSE(s.empty());
    EXPECT_EQ(na.rdstate(), kGood);
    EXPECT_EQ(rest(na), " c");
}

// A buffer that hands out its text, then throws on the next read.
class ThrowingBuf : public std::streambuf {
public:
    explicit ThrowingBuf(std::string text) : m_text(std::move(text)) {
        setg(&m_text[0], &m_text[0], &m_text[0] + m_text.size());
    }

protected:
    int_type underflow() override { throw std::runtime_error("device gone"); }

private:
    std::string m_text;
};

TEST(UStringStream, ThrowingOrMissingBufferGivesFailbitAndNothing) {
    struct Case {
        int reader;
        std::string text;
    };
    Case const cases[] = {
        {kWord, ""},
        {kWord, "  abc"}, // bytes gathered before the throw are dropped
        {kWord, std::string(5000, 'k')},
        {'\n', "abc"},
        {kLine, ""},
    };
    for (auto const& c : cases) {
        ThrowingBuf buf(c.text);
        std::istream is(&buf);
        is.width(0);
        VynUString s = U(u"previous");
        EXPECT_NO_THROW(read(c.reader, is, s));
        EXPECT_TRUE(s.empty()) << c.text;
        EXPECT_EQ(is.rdstate(), kFail) << c.text;
    }
    std::istream is(nullptr);
    VynUString s = U(u"x");
    is >> s;
    EXPECT_TRUE(s.empty());
    EXPECT_EQ(is.rdstate(), kFail | std::ios_base::badbit);
}

// Output stops at the first zero byte; width and fill apply; the caller's
// cached rendering is left alone.
TEST(UStringStream, Write) {
    struct Case {
        u16string text;
        int width;
        std::string out;
    } const cases[] = {
        {u"abc", 0, "abc"},
        {u"", 0, ""},
        {u16string(u"a\0b", 3), 0, "a"},
        {u"ab", 5, "***ab"},
        {u16string(300, u'w'), 0, std::string(300, 'w')},
    };
    for (auto const& c : cases) {
        VynUString s = U(c.text);
        char const* cached = s.c_str(VYNCS_UTF16);
        std::ostringstream os;
        os << std::setfill('*') << std::setw(c.width) << s;
        EXPECT_EQ(os.str(), c.out);
        EXPECT_TRUE(os.good());
        EXPECT_EQ(os.width(), 0);
        EXPECT_EQ(s.c_str(VYNCS_UTF16), cached);
    }
}

} // namespace
