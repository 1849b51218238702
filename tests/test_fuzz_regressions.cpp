// Inputs the fuzz targets in fuzz/ found faults with, reduced to the call that
// shows each one. Most of these faults are reads or writes just past a
// buffer, so they show up as failures only in the sanitizer build
// (-DVYN_SANITIZE=address,undefined), which is where this suite must pass.
#include <gtest/gtest.h>

#include <vynulib/string/VynUString.h>

namespace {

// Filling with a byte in UTF-32 builds k copies of the byte and one zero byte,
// then reads that as 32-bit values up to a zero value. Unless the fill length
// plus one is a multiple of four, the last value reaches past the temporary.
// The fill has to live on the heap for the address checker to see it, hence
// lengths above the short-string size of the standard library.
TEST(FuzzRegressions, ByteFillInUtf32StaysInsideItsTemporary) {
    for (unsigned long n : {16ul, 17ul, 18ul, 19ul, 33ul, 300ul}) {
        SCOPED_TRACE(n);
        VynUString s;
        s.resize(n, 'A', VYNCS_UTF32);
        EXPECT_EQ(s.length(), n);
        EXPECT_EQ(s.data()[n], 0);
    }
}

} // namespace
