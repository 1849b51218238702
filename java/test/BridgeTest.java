import vynxfer.FileDecompressor;
import vynxfer.VynXfer;

/**
 * Drives the two native entry points in the locale the test runner chose.
 * Usage: BridgeTest latin1|utf8|eucjp. Exits non-zero on any failure.
 */
public final class BridgeTest {
    private static int failures = 0;

    private static String show(String s) {
        if (s == null) return "null";
        StringBuilder b = new StringBuilder("\"");
        for (char c : s.toCharArray()) {
            if (c >= 0x20 && c < 0x7F) b.append(c);
            else b.append(String.format("\\u%04X", (int) c));
        }
        if (b.length() > 60) return b.substring(0, 60) + "...\" (" + s.length() + " chars)";
        return b.append('"').toString();
    }

    private static void check(String what, boolean ok, String detail) {
        if (!ok) {
            failures++;
            System.err.println("FAIL " + what + ": " + detail);
        }
    }

    private static void expect(String input, String expected) {
        String got = FileDecompressor.utf16ToLocal(input);
        check("utf16ToLocal(" + show(input) + ")", expected.equals(got),
                "got " + show(got) + ", want " + show(expected));
    }

    private static String repeat(String s, int n) {
        StringBuilder b = new StringBuilder();
        for (int i = 0; i < n; i++) b.append(s);
        return b.toString();
    }

    public static void main(String[] args) {
        String mode = args.length > 0 ? args[0] : "";
        boolean latin1 = mode.equals("latin1");
        boolean utf8 = mode.equals("utf8");
        boolean eucjp = mode.equals("eucjp");
        if (!latin1 && !utf8 && !eucjp) {
            System.err.println("usage: BridgeTest latin1|utf8|eucjp");
            System.exit(2);
        }

        check("isVynDefaultLocale", VynXfer.isVynDefaultLocale() == latin1,
                "got " + VynXfer.isVynDefaultLocale());

        // Nothing to convert: the very same object comes back.
        String empty = new String("");
        check("empty name", FileDecompressor.utf16ToLocal(empty) == empty, "not the same object");
        check("null name", FileDecompressor.utf16ToLocal(null) == null, "not null");

        expect("plain-name_1.txt", "plain-name_1.txt");
        expect("U+0041.txt", "U+0041.txt"); // escape text is not decoded on the way back
        if (latin1) {
            expect("caf\u00E9\u65E5", "caf\u00E9U+65E5");
            expect("\u0416\u20AC/x", "U+0416U+20AC/x");
        } else if (utf8) {
            expect("caf\u00E9\u65E5", "caf\u00E9\u65E5");
            expect("\u0416\u20AC/x", "\u0416\u20AC/x");
        } else {
            expect("\u65E5\u672C\u8A9E.txt", "\u65E5\u672C\u8A9E.txt");
            expect("a\uAC00\u65E5", "aU+AC00\u65E5");
        }

        // A supplementary character arrives as two three-byte surrogate
        // sequences. A set without it spells out both halves; as UTF-8 it is
        // written as one four-byte sequence, which reads back flagged and so
        // is taken as four Latin-1 characters.
        if (utf8) expect("x\uD83D\uDE00", "x\u00F0\u009F\u0098\u0080");
        else expect("x\uD83D\uDE00", "xU+D83DU+DE00");

        // Longer than the 4096-byte buffers: cut at a character boundary.
        expect(repeat("a", 5000), repeat("a", 4095));
        if (latin1) expect(repeat("\u65E5", 2000), repeat("U+65E5", 682));
        else expect(repeat("\u65E5", 2000), repeat("\u65E5", 1365));

        if (failures != 0) {
            System.err.println(failures + " failure(s)");
            System.exit(1);
        }
        System.out.println("bridge " + mode + ": all checks passed");
    }
}
