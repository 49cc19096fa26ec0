// Starts a browser with the profile "work", plays a macro in it, prints its first extract, and ends it.
//
//     host BROWSER MACRO-TEXT
using System;
using System.IO;
using System.Runtime.InteropServices;
using System.Text;

static class Kx {
  const string Library = "KXTCP64.dll"; // beside the program

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
  public static extern int kx_Exit(int context, int timeout);
  [DllImport(Library, ExactSpelling = true)]
  public static extern void kx_ContextDestroy(int context);
  [DllImport(Library, ExactSpelling = true)]
  static extern int kx_GetLastExtract(int context, byte[] buffer, int size, int index);
  [DllImport(Library, ExactSpelling = true)]
  static extern int kx_GetLastErrorText(int context, byte[] buffer, int size);

  // Asks for the size, which counts a zero at the end, then for the text.
  static string TextOf(Func<byte[], int, int> copy) {
    int size = copy(null, 0);
    if (size <= 0) return "";
    var buffer = new byte[size];
    copy(buffer, size);
    return Encoding.UTF8.GetString(buffer, 0, size - 1);
  }

  public static string LastExtract(int context, int index) {
    return TextOf((buffer, size) => kx_GetLastExtract(context, buffer, size, index));
  }

  // KX_OK alone does not do: the browser may have answered with an error.
  public static void Check(int context, string call, int result) {
    int number = kx_GetLastErrorNumber(context);
    if (result != 0 || number != 1) {
      string text = TextOf((buffer, size) => kx_GetLastErrorText(context, buffer, size));
      throw new InvalidOperationException($"{call} failed: result {result}, error {number}: {text}");
    }
  }
}

static class Host {
  static string Run(int context, string browser, string macro) {
    int result = Kx.kx_Init(context, "fx", "-fxProfile work", Path.GetFullPath(browser), 0, 0, 60);
    try {
      Kx.Check(context, "kx_Init", result);
      Kx.kx_SetVar(context, "city", "Tromsø");
      Kx.Check(context, "kx_Play", Kx.kx_Play(context, macro, 30));
      return Kx.LastExtract(context, 1);
    } finally {
      if (result == 0) Kx.kx_Exit(context, 10);
    }
  }

  static int Main(string[] arguments) {
    if (arguments.Length != 2) {
      Console.Error.WriteLine("usage: host BROWSER MACRO-TEXT");
      return 2;
    }
    Console.OutputEncoding = Encoding.UTF8;
    int context = Kx.kx_ContextCreate();
    try {
      Console.WriteLine("the first extract: " + Run(context, arguments[0], arguments[1]));
      return 0;
    } catch (InvalidOperationException error) {
      Console.Error.WriteLine(error.Message);
      return 1;
    } finally {
      Kx.kx_ContextDestroy(context);
    }
  }
}
