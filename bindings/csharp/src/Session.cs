using System;
using System.Collections.Concurrent;
using System.Collections.Generic;
using System.Text;
using System.Threading;
using System.Threading.Tasks;
using static Kxtcp64.KxConstants;

namespace Kxtcp64 {

// A context, and how it is ended. Its calls are made one at a time, by whoever has passed the gate.
sealed class Session {
  const string Remedy = "; close this browser and start another";

  // Those whose browser has to be closed when the process ends.
  static readonly ConcurrentDictionary<Session, bool> Started = new ConcurrentDictionary<Session, bool>();

  readonly SemaphoreSlim gate = new SemaphoreSlim(1, 1);
  readonly bool runner;
  readonly int exitSeconds;
  string? outOfStep; // why requests and answers no longer go together
  int outOfStepNumber;

  static Session() => AppDomain.CurrentDomain.ProcessExit += (sender, arguments) => {
    foreach (Session session in Started.Keys) session.EndUnlessBusy();
  };

  internal Session(bool runner, int exitSeconds) {
    this.runner = runner;
    this.exitSeconds = exitSeconds;
    Context = Loaded("kx_ContextCreate", Native.kx_ContextCreate);
    if (Context < 0) throw new KxException("kx_ContextCreate", Context, KX_ERROR_NONE, "no memory for a context");
  }

  internal int Context { get; private set; }

  // The first call of a process loads the DLL.
  internal static int Loaded(string call, Func<int> function) {
    try {
      return function();
    } catch (Exception error) when (error is DllNotFoundException || error is BadImageFormatException ||
                                    error is EntryPointNotFoundException) {
      throw new KxException(call, KX_FAILED, KX_ERROR_NONE,
          "KXTCP64.dll cannot be loaded; it is for 64-bit processes, and lies beside the program: " + error.Message, error);
    }
  }

  // Calls wait for seconds or minutes. On a thread of their own they keep no thread of the pool from others.
  internal static Task<T> OnAnotherThread<T>(Func<T> action) => Task.Factory.StartNew(action, CancellationToken.None,
      TaskCreationOptions.LongRunning | TaskCreationOptions.DenyChildAttach, TaskScheduler.Default);

  internal T Run<T>(Func<T> action) {
    gate.Wait();
    try {
      return action();
    } finally {
      gate.Release();
    }
  }

  internal async Task<T> RunAsync<T>(Func<T> action, CancellationToken cancellationToken) {
    await gate.WaitAsync(cancellationToken).ConfigureAwait(false);
    try {
      return await OnAnotherThread(action).ConfigureAwait(false);
    } finally {
      gate.Release();
    }
  }

  // What follows, but for the last two, is called behind the gate.

  internal void MustBeOpen(string call) {
    if (Context < 0) throw new KxException(call, KX_NO_CONTEXT, KX_ERROR_NONE, "the browser was closed");
  }

  internal void MustBeInStep(string call) {
    MustBeOpen(call);
    if (outOfStep != null) throw Arguments.Refused(call, outOfStep + Remedy, outOfStepNumber);
  }

  // Throws what a call and the browser's answer to it come to, unless both tell of success.
  internal void Check(string call, int result) {
    int number = Native.kx_GetLastErrorNumber(Context);
    if (result == KX_OK && number == KX_ERROR_SUCCESS) return;
    string text = ErrorText();
    if (number == KX_ERROR_TIMEOUT &&
        (text == "Error while sending request" || text == "Error while receiving response")) {
      outOfStep = "an earlier request has timed out, and its late answer would count as the next one's";
    } else if (number == KX_ERROR_GENERAL && text == "Error in response processing") {
      outOfStep = "an earlier answer was not valid, and what is left of it would spoil the next one";
    }
    outOfStepNumber = number;
    throw new KxException(call, result, number, text);
  }

  // The same for a start. One that was answered leaves a browser to be closed, any other leaves none.
  internal void CheckStart(string call, int result, string? reason = null) {
    if (result != KX_OK) {
      var error = new KxException(call, result, Native.kx_GetLastErrorNumber(Context), reason ?? ErrorText());
      Destroy();
      throw error;
    }
    try {
      Check(call, result);
    } catch (KxException) {
      CallExit(exitSeconds);
      Destroy();
      throw;
    }
    Started[this] = true;
  }

  internal PlayResult ReadBack() {
    string data = Copied((buffer, size) => Native.kx_GetPerformance(Context, buffer, size), "kx_GetPerformance");
    return new PlayResult(Extracts(), Performance(), data.Length == 0 ? null : data);
  }

  // When this throws, the browser is still there.
  internal bool Exit(int seconds) {
    if (Context < 0) return true;
    int result = CallExit(seconds);
    if (result != KX_OK) {
      throw new KxException(runner ? "kxr_Exit" : "kx_Exit", result, Native.kx_GetLastErrorNumber(Context), ErrorText());
    }
    return Destroy();
  }

  // Closes the browser, if there is one; a failure of that is in the library's log.
  internal bool End() {
    if (Context < 0) return true;
    CallExit(exitSeconds);
    return Destroy();
  }

  // For the finalizer, which may not wait.
  internal void EndLater() => _ = RunAsync(End, CancellationToken.None);

  // At the end of the process a call that is under way may never come back.
  void EndUnlessBusy() {
    if (!gate.Wait(0)) return;
    End();
    gate.Release();
  }

  internal static KxException Failing(string call, int result) =>
      // For functions that leave the error number and text alone: theirs would tell of another call.
      new KxException(call, result, KX_ERROR_NONE, "the log tells more");

  // Asks for the size, which counts the zero at the end, then for the text.
  internal static string Copied(Func<byte[]?, int, int> copy, string call) {
    int size = copy(null, 0);
    if (size < 0) throw Failing(call, size);
    if (size <= 1) return "";
    var buffer = new byte[size];
    int result = copy(buffer, size);
    if (result < 0) throw Failing(call, result);
    return Text(buffer);
  }

  static string Text(byte[] buffer) => Encoding.UTF8.GetString(buffer, 0, buffer.Length - 1);

  string ErrorText() => Copied((buffer, size) => Native.kx_GetLastErrorText(Context, buffer, size), "kx_GetLastErrorText");

  int CallExit(int seconds) => runner ? Native.kxr_Exit(Context, seconds) : Native.kx_Exit(Context, seconds);

  // Once: the library gives the number of a destroyed context to the next one.
  bool Destroy() {
    int context = Context;
    Context = KX_NO_CONTEXT;
    Started.TryRemove(this, out _);
    Native.kx_ContextDestroy(context);
    return true;
  }

  // An empty extract has the size that one beyond the last has. The size of all, joined, tells the end.
  List<string> Extracts() {
    const string call = "kx_GetLastExtract";
    int whole = Native.kx_GetLastExtract(Context, null, 0, 0);
    if (whole < 0) throw Failing(call, whole);
    var found = new List<string>();
    for (int length = 0; whole > 0 && (found.Count == 0 || length + 1 < whole);) {
      int index = found.Count + 1;
      int size = Native.kx_GetLastExtract(Context, null, 0, index);
      found.Add(Copied((buffer, available) => Native.kx_GetLastExtract(Context, buffer, available, index), call));
      length += Math.Max(size - 1, 0) + (index > 1 ? "[EXTRACT]".Length : 0);
    }
    return found;
  }

  List<KeyValuePair<string, string>> Performance() {
    var found = new List<KeyValuePair<string, string>>();
    int nameSize = 0, valueSize = 0;
    while (Native.kx_GetLastPerformance(Context, found.Count + 1, null, ref nameSize, null, ref valueSize) == KX_OK) {
      byte[] name = new byte[nameSize], value = new byte[valueSize];
      int result = Native.kx_GetLastPerformance(Context, found.Count + 1, name, ref nameSize, value, ref valueSize);
      if (result != KX_OK) throw Failing("kx_GetLastPerformance", result);
      found.Add(new KeyValuePair<string, string>(Text(name), Text(value)));
    }
    return found;
  }
}

}
