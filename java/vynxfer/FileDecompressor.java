package vynxfer;

/** File names as the local file system will store them. */
public final class FileDecompressor {
    static {
        System.loadLibrary("vynulib64");
    }

    private FileDecompressor() {}

    /**
     * The name as it reads back after being written in the process's default
     * character set: characters that set lacks are spelled "U+XXXX". An empty
     * name comes back as the same object; null gives null. Names longer than
     * 4095 bytes are cut at a character boundary.
     */
    public static native String utf16ToLocal(String name);
}
