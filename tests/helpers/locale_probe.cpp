// Prints what this process made of its locale, one key=value per line, for
// test_locale, which runs it under chosen environments. A process is needed
// per environment: the default set is fixed when the library loads.
#include <cstdio>
#include <cstdlib>

#include <vynulib/charset/CharSetConverterManager.h>

namespace {

void hex(char const* key, void const* p, int n) {
    std::printf("%s=", key);
    for (int i = 0; i < n; ++i) std::printf("%02X", static_cast<unsigned char const*>(p)[i]);
    std::printf("\n");
}

} // namespace

int main() {
    VynCharSetConverter* deflt = VynCharSetConverter::getConverter(VYNCS_OS_DEFAULT);
    VynCharSet const detected = g_oCnvtMgr.defaultCharSet();
    std::printf("default=%d\n", static_cast<int>(detected));
    std::printf("same=%d\n", deflt == g_oCnvtMgr.getConverter(detected) ? 1 : 0);
    std::printf("latin1_table=%d\n", VynCharSetConverter::getConverter(VYNCS_ISO_8859_1) !=
                                         VynCharSetConverter::getConverter(VYNCS_UTF8));

    // A file name with a character that Latin-1 has and one that it lacks.
    unsigned char const name[] = "caf\xC3\xA9\xE6\x97\xA5.txt";
    char local[64];
    unsigned char back[64];
    int const n = UTF8ToLocalPath(local, name, sizeof local);
    hex("path", local, n);
    hex("back", back, LocalPathToUTF8(back, local, sizeof back));

    // Later changes of LANG do not move the default; asking again does
    // detect anew.
    setenv("LANG", "ja_JP.SJIS", 1);
    std::printf("still=%d\n", static_cast<int>(g_oCnvtMgr.defaultCharSet()));
    std::printf("still_conv=%d\n", VynCharSetConverter::getConverter(VYNCS_OS_DEFAULT) == deflt);
    std::printf("redetect=%d\n", static_cast<int>(g_oCnvtMgr.getDefaultCharSet()));
    return 0;
}
