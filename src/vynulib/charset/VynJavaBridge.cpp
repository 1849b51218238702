// The two entry points for the Java front end: is this process in the
// fallback locale, and how will a file name look once the local file system
// has stored it.
#include <jni.h>

#include <vynulib/charset/CharSetConverterManager.h>

namespace {

constexpr int kBufferSize = 4096;

} // namespace

extern "C" {

// True when the default set is ISO 8859-1, which includes every locale the
// detection did not recognise.
JNIEXPORT jboolean JNICALL Java_vynxfer_VynXfer_isVynDefaultLocale(JNIEnv*, jclass) {
    return VynCharSetConverter::getConverter(VYNCS_OS_DEFAULT) ==
                   VynCharSetConverter::getConverter(VYNCS_ISO_8859_1)
               ? JNI_TRUE
               : JNI_FALSE;
}

// The name as the local file system will hold it, in UTF-8 again: characters
// the default set lacks come back spelled "U+XXXX". Names longer than the
// buffers are cut at a character boundary.
JNIEXPORT jstring JNICALL Java_vynxfer_FileDecompressor_utf16ToLocal(JNIEnv* env, jclass,
                                                                     jstring name) {
    // A null name would crash inside the Java runtime; it gives null back.
    if (name == nullptr) return nullptr;
    char const* utf = env->GetStringUTFChars(name, nullptr);
    if (utf == nullptr) return nullptr; // out of memory, exception pending

    char local[kBufferSize];
    int const n = UTF8ToLocalPath(local, reinterpret_cast<unsigned char const*>(utf), kBufferSize);
    if (n <= 0) {
        env->ReleaseStringUTFChars(name, utf);
        return name;
    }
    unsigned char back[kBufferSize];
    unsigned long const m = LocalToUTF8(back, local, kBufferSize, VYNCS_OS_DEFAULT);
    env->ReleaseStringUTFChars(name, utf);
    if (m != 0) return env->NewStringUTF(reinterpret_cast<char const*>(back));
    return env->NewStringUTF(local);
}

} // extern "C"
