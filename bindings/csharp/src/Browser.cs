using System;
using System.Threading;
using System.Threading.Tasks;

namespace Kxtcp64 {

/// <summary>
/// A browser that was started or attached to. It has a context of the library, and closes both when it is disposed of, when
/// it is collected, and when the process ends. Several threads may use one Browser; its calls wait for one another.
/// </summary>
/// <remarks>
/// <para>What returns has succeeded in the browser, too: the error number is looked at after every request. Whatever fails
/// throws KxException; an argument that is null and may not be throws ArgumentNullException.</para>
/// <para>A time-out is for each single wait. It is above zero, is rounded up to whole seconds, and is 60 seconds when it is
/// not given; Timeout.InfiniteTimeSpan is no limit. After a time-out, and after an answer that was not valid, further
/// requests are refused: the library cannot tell a late answer from the next one. Close the browser and start another.</para>
/// <para>Methods that end in Async make the same call on another thread. A cancellation token ends the waiting for the calls
/// before; a call that has begun goes on to its end.</para>
/// </remarks>
public sealed class Browser : IDisposable {
  static readonly TimeSpan RequestTimeout = TimeSpan.FromSeconds(60);
  static readonly TimeSpan ExitTimeout = TimeSpan.FromSeconds(10);

  readonly Session session;

  Browser(Session session) => this.session = session;

  /// <summary>A Browser that was forgotten is closed on another thread.</summary>
  ~Browser() => session.EndLater();

  /// <summary>Attaches to the running browser of that profile, or launches it.</summary>
  public static Browser Start(StartOptions? options = null) => new Browser(StartCall(options ?? new StartOptions())());

  /// <summary>The same without keeping the caller waiting.</summary>
  public static async Task<Browser> StartAsync(StartOptions? options = null) =>
      new Browser(await Session.OnAnotherThread(StartCall(options ?? new StartOptions())).ConfigureAwait(false));

  static Func<Session> StartCall(StartOptions options) {
    const string call = "kx_Init";
    byte[] browser = Arguments.BrowserName(options), text = Arguments.Options(call, options, false);
    byte[]? program = Arguments.Program(call, options);
    int seconds = Arguments.Seconds(call, options.Timeout), exitSeconds = Arguments.Seconds(call, options.ExitTimeout);
    int openNewBrowser = options.OpenNewBrowser ? 1 : 0;
    bool attachOnly = options.AttachOnly;
    return () => {
      var session = new Session(false, exitSeconds);
      int result = Native.kx_Init(session.Context, browser, text, program, 0, openNewBrowser, seconds);
      bool nobody = attachOnly && result > KxConstants.KX_OK; // the launch that had to fail was tried
      session.CheckStart(call, result,
          nobody ? "no running browser serves the extension's pipe, and AttachOnly launches none" : null);
      return session;
    };
  }

  /// <summary>
  /// The arguments, without the program, with which a host starts the browser's program itself. It then attaches to it
  /// with StartRunner and the same options.
  /// </summary>
  /// <param name="options">Profile or UserDataDir has to be among them; Program and AttachOnly cannot be.</param>
  /// <param name="page">Chrome's start page; without it one is made in the folder that TEMP names.</param>
  public static string RunnerArguments(StartOptions options, string? page = null) {
    const string call = "kxr_GetCommandLine";
    Arguments.NotNull(options, nameof(options));
    byte[] text = Arguments.RunnerOptions(call, options), browser = Arguments.BrowserName(options);
    byte[]? pageText = page == null ? null : Arguments.Utf8(call, "page", page);
    return Session.Copied((buffer, size) => Session.Loaded(
        call, () => Native.kxr_GetCommandLine(browser, text, buffer, size, pageText)), call);
  }

  /// <summary>Attaches to it. Closing asks that browser to exit, and does not wait for its process.</summary>
  public static Browser StartRunner(StartOptions options) => new Browser(RunnerCall(options)());

  /// <summary>The same without keeping the caller waiting.</summary>
  public static async Task<Browser> StartRunnerAsync(StartOptions options) =>
      new Browser(await Session.OnAnotherThread(RunnerCall(options)).ConfigureAwait(false));

  static Func<Session> RunnerCall(StartOptions options) {
    const string call = "kxr_Init";
    Arguments.NotNull(options, nameof(options));
    byte[] text = Arguments.RunnerOptions(call, options), browser = Arguments.BrowserName(options);
    int seconds = Arguments.Seconds(call, options.Timeout), exitSeconds = Arguments.Seconds(call, options.ExitTimeout);
    if (seconds == 0) throw Arguments.Refused(call, "a runner's Timeout has an end, for it sets the number of attempts");
    int openNewBrowser = options.OpenNewBrowser ? 1 : 0;
    return () => {
      var session = new Session(true, exitSeconds);
      session.CheckStart(call, Native.kxr_Init(session.Context, browser, text, openNewBrowser, seconds));
      return session;
    };
  }

  /// <summary>Sets a variable for the next play.</summary>
  public void SetVariable(string name, string value) => session.Run(VariableCall(name, value));

  /// <summary>The same without keeping the caller waiting.</summary>
  public Task SetVariableAsync(string name, string value, CancellationToken cancellationToken = default) =>
      session.RunAsync(VariableCall(name, value), cancellationToken);

  Func<bool> VariableCall(string name, string value) {
    const string call = "kx_SetVar";
    byte[] nameText = Arguments.VariableName(call, Arguments.NotNull(name, nameof(name)));
    byte[] valueText = Arguments.Utf8(call, "the variable's value", Arguments.NotNull(value, nameof(value)));
    return () => {
      session.MustBeInStep(call);
      int result = Native.kx_SetVar(session.Context, nameText, valueText);
      return result == KxConstants.KX_OK ? true : throw Session.Failing(call, result);
    };
  }

  /// <summary>Plays a macro, and gives all that it left.</summary>
  public PlayResult Play(string macro, TimeSpan? timeout = null) => session.Run(PlayCall(macro, timeout));

  /// <summary>The same without keeping the caller waiting.</summary>
  public Task<PlayResult> PlayAsync(string macro, TimeSpan? timeout = null, CancellationToken cancellationToken = default) =>
      session.RunAsync(PlayCall(macro, timeout), cancellationToken);

  Func<PlayResult> PlayCall(string macro, TimeSpan? timeout) {
    Func<bool> request = RequestCall("kx_Play", "the macro", Arguments.NotNull(macro, nameof(macro)), timeout, Native.kx_Play);
    return () => {
      request();
      return session.ReadBack();
    };
  }

  /// <summary>
  /// What the last play left, once more; after one that has failed, what it had left by then. ProfilerData is that of the last
  /// answer, which may be another one than the play's.
  /// </summary>
  public PlayResult LastPlay() => session.Run(LastPlayCall);

  /// <summary>The same without keeping the caller waiting.</summary>
  public Task<PlayResult> LastPlayAsync(CancellationToken cancellationToken = default) =>
      session.RunAsync(LastPlayCall, cancellationToken);

  PlayResult LastPlayCall() {
    session.MustBeOpen("kx_GetLastExtract");
    return session.ReadBack();
  }

  /// <summary>Shows a message to the user, in the browser.</summary>
  public void Show(string message, TimeSpan? timeout = null) => session.Run(ShowCall(message, timeout));

  /// <summary>The same without keeping the caller waiting.</summary>
  public Task ShowAsync(string message, TimeSpan? timeout = null, CancellationToken cancellationToken = default) =>
      session.RunAsync(ShowCall(message, timeout), cancellationToken);

  Func<bool> ShowCall(string message, TimeSpan? timeout) =>
      RequestCall("kx_Display", "the message", Arguments.NotNull(message, nameof(message)), timeout, Native.kx_Display);

  /// <summary>Has the browser save a picture of itself to a file, as the browser's process understands the path.</summary>
  public void Screenshot(string file, ScreenshotArea area = ScreenshotArea.Page, TimeSpan? timeout = null) =>
      session.Run(ScreenshotCall(file, area, timeout));

  /// <summary>The same without keeping the caller waiting.</summary>
  public Task ScreenshotAsync(string file, ScreenshotArea area = ScreenshotArea.Page, TimeSpan? timeout = null,
      CancellationToken cancellationToken = default) =>
      session.RunAsync(ScreenshotCall(file, area, timeout), cancellationToken);

  Func<bool> ScreenshotCall(string file, ScreenshotArea area, TimeSpan? timeout) =>
      RequestCall("kx_TakeBrowserScreenshot", "the path", Arguments.NotNull(file, nameof(file)), timeout,
          (context, path, seconds) => Native.kx_TakeBrowserScreenshot(context, path, (int)area, seconds));

  Func<bool> RequestCall(string call, string what, string text, TimeSpan? timeout, Func<int, byte[], int, int> function) {
    byte[] bytes = Arguments.Utf8(call, what, text);
    int seconds = Arguments.Seconds(call, timeout ?? RequestTimeout);
    return () => {
      session.MustBeInStep(call);
      session.Check(call, function(session.Context, bytes, seconds));
      return true;
    };
  }

  /// <summary>The id of the process that was launched; null for a browser that was running.</summary>
  public int? ProcessId => session.Run(() => {
    const string call = "kx_GetBrowserProcessId";
    session.MustBeOpen(call);
    int id = Native.kx_GetBrowserProcessId(session.Context);
    return id == 0 ? (int?)null : id;
  });

  /// <summary>
  /// Closes the browser, also one that was attached to. After that a Browser refuses every call but this one and Dispose. When
  /// this throws, the browser is still there, and may be closed again.
  /// </summary>
  /// <param name="timeout">10 seconds when it is not given.</param>
  public void Exit(TimeSpan? timeout = null) => session.Run(ExitCall(timeout));

  /// <summary>The same without keeping the caller waiting.</summary>
  public Task ExitAsync(TimeSpan? timeout = null, CancellationToken cancellationToken = default) =>
      session.RunAsync(ExitCall(timeout), cancellationToken);

  Func<bool> ExitCall(TimeSpan? timeout) {
    int seconds = Arguments.Seconds("kx_Exit", timeout ?? ExitTimeout);
    return () => session.Exit(seconds);
  }

  /// <summary>Closes the browser as Exit does, within StartOptions.ExitTimeout; what fails is in the library's log.</summary>
  public void Dispose() {
    session.Run(session.End);
    GC.SuppressFinalize(this);
  }

  /// <summary>The same without keeping the caller waiting: <c>await using</c> calls it.</summary>
  public async Task DisposeAsync() {
    await session.RunAsync(session.End, CancellationToken.None).ConfigureAwait(false);
    GC.SuppressFinalize(this);
  }
}

}
