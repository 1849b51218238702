// A short tour of vynulib64: converters, one-call conversions, strings.
#include <vynulib/vynulib.h>

#include <cstdio>
#include <iostream>

int main() {
    // 1. One-call conversions pivot through UTF-16. Sizes count the whole
    //    buffer, terminator included; results exclude it.
    char latin1[16];
    UTF8ToLocal(latin1, reinterpret_cast<unsigned char const*>("caf\xC3\xA9"), sizeof latin1,
                VYNCS_ISO_8859_1); // "caf\xE9"

    // 2. A converter per character set, shared and thread-safe.
    VynCharSetConverter* sjis = VynCharSetConverter::getConverter(VYNCS_WCP932);
    unsigned short units[8];
    bool bad = false;
    unsigned long n = sjis->toUTF16(units, "\x82\xA0", 7, ILLCHAR_REPLACE, &bad, -1);
    std::printf("%lu unit(s), U+%04X, flag %d\n", n, units[0], bad); // 1 unit(s), U+3042, flag 0

    // 3. File names: what the local set cannot hold survives as "U+%04X" text.
    char path[64];
    UTF8ToLocalPath(path, reinterpret_cast<unsigned char const*>("\xE6\x97\xA5.txt"), sizeof path);

    // 4. Strings: UTF-16 inside, any character set outside.
    VynUString s(latin1, VYNCS_ISO_8859_1);
    s.toUpper(false); // "CAFÉ"
    VynUStringList words = VynUString("a,b,,c", VYNCS_UTF8).split((unsigned short)',');
    std::cout << s.c_str(VYNCS_UTF8) << " " << words.size() << " fields, "
              << VynCharSetToString(VYNCS_EUC_JP) << "\n"; // CAFÉ 4 fields, VYNCS_EUC_JP
    return 0;
}
