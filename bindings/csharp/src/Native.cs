using System.Runtime.InteropServices;

namespace Kxtcp64 {

// The functions of the DLL. A text is UTF-8 with a zero at the end.
static class Native {
  // Searched in the folder of this assembly, then where .NET and Windows search.
  const string Library = "KXTCP64.dll";

  // made from bindings/interface.json
  [DllImport(Library, ExactSpelling = true)]
  internal static extern int kx_ContextCreate();

  [DllImport(Library, ExactSpelling = true)]
  internal static extern void kx_ContextDestroy(int context);

  [DllImport(Library, ExactSpelling = true)]
  internal static extern int kx_GetLastErrorNumber(int context);

  [DllImport(Library, ExactSpelling = true)]
  internal static extern int kx_GetLastErrorText(int context, [In, Out] byte[]? buffer, int size);

  [DllImport(Library, ExactSpelling = true)]
  internal static extern int kx_Init(int context, byte[]? browser, byte[]? options, byte[]? browserPath, int port, int openNewBrowser, int timeout);

  [DllImport(Library, ExactSpelling = true)]
  internal static extern int kx_SetVar(int context, byte[]? name, byte[]? value);

  [DllImport(Library, ExactSpelling = true)]
  internal static extern int kx_Play(int context, byte[]? macro, int timeout);

  [DllImport(Library, ExactSpelling = true)]
  internal static extern int kx_Display(int context, byte[]? message, int timeout);

  [DllImport(Library, ExactSpelling = true)]
  internal static extern int kx_TakeBrowserScreenshot(int context, byte[]? path, int type, int timeout);

  [DllImport(Library, ExactSpelling = true)]
  internal static extern int kx_GetLastExtract(int context, [In, Out] byte[]? buffer, int size, int index);

  [DllImport(Library, ExactSpelling = true)]
  internal static extern int kx_GetPerformance(int context, [In, Out] byte[]? buffer, int size);

  [DllImport(Library, ExactSpelling = true)]
  internal static extern int kx_GetLastPerformance(int context, int index, [In, Out] byte[]? name, ref int nameSize, [In, Out] byte[]? value, ref int valueSize);

  [DllImport(Library, ExactSpelling = true)]
  internal static extern int kx_GetBrowserProcessId(int context);

  [DllImport(Library, ExactSpelling = true)]
  internal static extern int kx_Exit(int context, int timeout);

  [DllImport(Library, ExactSpelling = true)]
  internal static extern int kxr_GetCommandLine(byte[]? browser, byte[]? options, [In, Out] byte[]? buffer, int size, byte[]? pageText);

  [DllImport(Library, ExactSpelling = true)]
  internal static extern int kxr_Init(int context, byte[]? browser, byte[]? options, int openNewBrowser, int timeout);

  [DllImport(Library, ExactSpelling = true)]
  internal static extern int kxr_Exit(int context, int timeout);
  // end of what is made
}

}
