package vynxfer;

/** Questions about the native side's view of the process locale. */
public final class VynXfer {
    static {
        System.loadLibrary("vynulib64");
    }

    private VynXfer() {}

    /**
     * True when the native library fell back to ISO 8859-1 for this process,
     * that is, when it did not recognise the locale (or found none).
     */
    public static native boolean isVynDefaultLocale();
}
