// A consumer of the installed package: "café" from UTF-8 to ISO 8859-1 and back.
#include <vynulib/vynulib.h>

#include <cstdio>
#include <cstring>

int main() {
    unsigned char const utf8[] = "caf\xC3\xA9";
    char latin1[16];
    unsigned long n = UTF8ToLocal(latin1, utf8, sizeof latin1, VYNCS_ISO_8859_1);
    if (n != 4 || std::memcmp(latin1, "caf\xE9", 5) != 0) {
        std::fprintf(stderr, "UTF8ToLocal gave %lu bytes\n", n);
        return 1;
    }
    unsigned char back[16];
    n = LocalToUTF8(back, latin1, sizeof back, VYNCS_ISO_8859_1);
    if (n != 5 || std::memcmp(back, utf8, 6) != 0) {
        std::fprintf(stderr, "LocalToUTF8 gave %lu bytes\n", n);
        return 1;
    }
    VynUString s(latin1, VYNCS_ISO_8859_1);
    if (s.length() != 4 || s.at(3) != 0x00E9) return 1;
    std::printf("%s\n", s.c_str(VYNCS_UTF8));
    return 0;
}
