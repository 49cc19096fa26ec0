// Starts Firefox with the profile "work", plays a macro, prints its extracts, and closes Firefox: without a wrapper.
//
//     raw BROWSER MACRO-TEXT
using System;
using System.Collections.Generic;
using System.Runtime.InteropServices;
using System.Text;

static class Kx {
  const string Library = "KXTCP64.dll";

  [DllImport(Library, ExactSpelling = true)]
  public static extern int kx_ContextCreate();
  [DllImport(Library, ExactSpelling = true)]
  public static extern int kx_Init(int context, [MarshalAs(UnmanagedType.LPUTF8Str)] string browser,
      [MarshalAs(UnmanagedType.LPUTF8Str)] string options, [MarshalAs(UnmanagedType.LPUTF8Str)] string browserPath,
      int port, int openNewBrowser, int timeout);
  [DllImport(Library, ExactSpelling = true)]
  public static extern int kx_SetVar(int context, [MarshalAs(UnmanagedType.LPUTF8Str)] string name,
      [MarshalAs(UnmanagedType.LPUTF8Str)] string value);
  [DllImport(Library, ExactSpelling = true)]
  public static extern int kx_Play(int context, [MarshalAs(UnmanagedType.LPUTF8Str)] string macro, int timeout);
  [DllImport(Library, ExactSpelling = true)]
  public static extern int kx_GetLastErrorNumber(int context);
  [DllImport(Library, ExactSpelling = true)]
  public static extern int kx_GetLastErrorText(int context, byte[] buffer, int size);
  [DllImport(Library, ExactSpelling = true)]
  public static extern int kx_GetLastExtract(int context, byte[] buffer, int size, int index);
  [DllImport(Library, ExactSpelling = true)]
  public static extern int kx_Exit(int context, int timeout);
  [DllImport(Library, ExactSpelling = true)]
  public static extern void kx_ContextDestroy(int context);
}

static class Program {
  static byte[] BytesOf(Func<byte[], int, int> copy) {
    int size = copy(null, 0);
    if (size <= 1) return Array.Empty<byte>();
    var buffer = new byte[size];
    copy(buffer, size);
    return buffer.AsSpan(0, size - 1).ToArray();
  }

  // An empty extract has the size that one beyond the last has; the size of all, joined, tells the end.
  static IEnumerable<string> Extracts(int context) {
    int whole = Kx.kx_GetLastExtract(context, null, 0, 0);
    for (int length = 0, index = 1; whole > 0 && (index == 1 || length + 1 < whole); ++index) {
      byte[] extract = BytesOf((buffer, size) => Kx.kx_GetLastExtract(context, buffer, size, index));
      length += extract.Length + (index > 1 ? "[EXTRACT]".Length : 0);
      yield return Encoding.UTF8.GetString(extract);
    }
  }

  static void Check(int context, string call, int result, int number = 1) {
    if (result == 0 && number == 1) return;
    string text = Encoding.UTF8.GetString(BytesOf((buffer, size) => Kx.kx_GetLastErrorText(context, buffer, size)));
    throw new InvalidOperationException($"{call} failed: result {result}, error {Kx.kx_GetLastErrorNumber(context)}: {text}");
  }

  static int Main(string[] arguments) {
    int context = Kx.kx_ContextCreate();
    int started = -1;
    try {
      started = Kx.kx_Init(context, "fx", "-fxProfile \"work\"", arguments[0], 0, 0, 60);
      Check(context, "kx_Init", started, Kx.kx_GetLastErrorNumber(context));
      Check(context, "kx_SetVar", Kx.kx_SetVar(context, "city", "Oslo"));
      Check(context, "kx_Play", Kx.kx_Play(context, arguments[1], 60));
      foreach (string extract in Extracts(context)) Console.WriteLine(extract);
      return 0;
    } catch (InvalidOperationException error) {
      Console.Error.WriteLine(error.Message);
      return 1;
    } finally {
      if (started == 0) Kx.kx_Exit(context, 10);
      Kx.kx_ContextDestroy(context);
    }
  }
}
