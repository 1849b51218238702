// Moving a VynUString through narrow byte streams. The bytes on both sides
// are in the default character set.
#include <vynulib/string/VynUString.h>

#include <cctype>
#include <istream>
#include <ostream>
#include <vector>

namespace {

// isspace of the byte taken as a signed char. Bytes 0x80 and up are negative
// then; handing those to isspace is undefined in general, and none of them is
// a space in any byte set we read, so they never count as one.
bool isSpaceByte(unsigned char b) {
    int const c = static_cast<signed char>(b);
    return c >= 0 && std::isspace(c) != 0;
}

enum class ReadMode { Word, Line };

// The one reader behind operator>> and both getline forms.
std::istream& readString(std::istream& is, VynUString& s, ReadMode mode, char delim) {
    s.erase();

    std::streamsize const w = is.width();
    // w - 1 bytes at most; w == 1 reads nothing at all.
    unsigned long const limit = w < 1 ? VynUString::MAX_LENGTH : static_cast<unsigned long>(w - 1);

    std::ios_base::iostate state = std::ios_base::goodbit;
    std::vector<char> bytes; // owns what was gathered, also when the buffer throws
    try {
        std::streambuf* sb = is.rdbuf();
        if (sb != nullptr && limit != 0) {
            // 0xFF ends the input exactly as the end of file does: a data byte
            // 0xFF is indistinguishable from it here, and is left unread.
            if (mode == ReadMode::Word) {
                for (;;) {
                    unsigned char const b = static_cast<unsigned char>(sb->sgetc());
                    if (b == 0xFF) {
                        state |= std::ios_base::eofbit;
                        break;
                    }
                    if (!isSpaceByte(b)) break;
                    sb->sbumpc();
                }
            }
            while ((state & std::ios_base::eofbit) == 0 && bytes.size() < limit) {
                unsigned char const b = static_cast<unsigned char>(sb->sgetc());
                if (b == 0xFF) {
                    state |= std::ios_base::eofbit;
                    break;
                }
                if (mode == ReadMode::Word) {
                    if (isSpaceByte(b)) break; // left in the stream
                } else if (b == static_cast<unsigned char>(delim)) {
                    sb->sbumpc(); // the delimiter is taken but not stored
                    break;
                }
                bytes.push_back(static_cast<char>(b));
                sb->sbumpc();
            }
        }
    } catch (...) {
        // Whatever came before the failure is dropped; failbit follows below.
        bytes.clear();
        state = std::ios_base::goodbit;
    }

    is.width(0);
    if (bytes.empty()) {
        state |= std::ios_base::failbit;
    } else {
        unsigned long const n = bytes.size();
        // The constructor converts up to a zero byte, so the gathered bytes
        // must carry one: without it the converter would read past the array.
        bytes.push_back('\0');
        s.assign(VynUString(bytes.data(), n, VYNCS_OS_DEFAULT));
    }
    is.clear(is.rdstate() | state);
    return is;
}

} // namespace

std::ostream& operator<<(std::ostream& os, VynUString const& s) {
    // A copy, so the caller's string keeps its own cached byte text.
    VynUString copy(s);
    char const* p = copy.c_str(VYNCS_OS_DEFAULT);
    if (p == nullptr) {
        os.setstate(std::ios_base::badbit);
        return os;
    }
    return os << p; // up to the first zero byte; width and fill apply
}

std::istream& operator>>(std::istream& is, VynUString& s) {
    return readString(is, s, ReadMode::Word, '\0');
}

std::istream& getline(std::istream& is, VynUString& s, char delim) {
    return readString(is, s, ReadMode::Line, delim);
}

std::istream& getline(std::istream& is, VynUString& s) {
    // Carriage return, not line feed, ends a line by default.
    return readString(is, s, ReadMode::Line, '\r');
}
