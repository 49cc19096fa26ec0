// The wrapper with the DLL and the simulator, which play a browser together.
using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.IO;
using System.Linq;
using System.Runtime.CompilerServices;
using System.Security.Cryptography;
using System.Text;
using System.Threading;
using System.Threading.Tasks;
using Kxtcp64;
using Xunit;

public sealed class WrapperTests : IDisposable {
  static readonly string Simulator = Environment.GetEnvironmentVariable("KX_SIMULATOR");
  static int count;

  readonly string folder = Path.Combine(Path.GetTempPath(), "csharp-" + Guid.NewGuid());
  readonly string program;
  readonly string profile = $"csharp {Process.GetCurrentProcess().Id} {Interlocked.Increment(ref count)}";
  readonly List<Process> processes = new List<Process>();
  readonly List<Browser> browsers = new List<Browser>();

  public WrapperTests() {
    Directory.CreateDirectory(folder);
    program = Path.Combine(folder, "browser.exe");
    File.Copy(Simulator, program);
  }

  public void Dispose() {
    foreach (Browser browser in browsers) browser.Dispose();
    foreach (Process process in processes) {
      if (!process.HasExited) process.Kill();
      process.WaitForExit();
      process.Dispose();
    }
    Directory.Delete(folder, true);
  }

  void WriteScript(params string[] script) => File.WriteAllLines(Path.Combine(folder, "browser.script"),
      new[] { "record " + Path.Combine(folder, "record") }.Concat(script), new UTF8Encoding(false));

  // Starts the simulator as a user does, and waits until hosts can connect.
  Process RunBrowser(string arguments) {
    var process = new Process {
      StartInfo = new ProcessStartInfo(program, "--verbose " + arguments) { RedirectStandardOutput = true, UseShellExecute = false }
    };
    var serves = new TaskCompletionSource<bool>();
    process.OutputDataReceived += (sender, line) => {
      if (line.Data == null || line.Data == "serving") serves.TrySetResult(line.Data != null);
    };
    process.Start();
    processes.Add(process);
    process.BeginOutputReadLine();
    Assert.True(serves.Task.Result);
    return process;
  }

  StartOptions Options => new StartOptions { Profile = profile };

  // Attaches, which does not take the two seconds that the library gives a browser that it has launched.
  Browser Start(params string[] script) => StartWith(options => { }, script);

  Browser StartWith(Action<StartOptions> change, params string[] script) {
    WriteScript(script);
    byte[] digest = MD5.Create().ComputeHash(Encoding.UTF8.GetBytes(profile));
    RunBrowser($@"--pipe=\\.\pipe\kx-fx-{string.Concat(digest.Select(octet => octet.ToString("x2")))}.runner");
    StartOptions options = Options;
    options.AttachOnly = true;
    change(options);
    return Kept(Browser.Start(options));
  }

  Browser Launch() {
    WriteScript();
    StartOptions options = Options;
    options.Program = program;
    return Kept(Browser.Start(options));
  }

  Browser Kept(Browser browser) {
    browsers.Add(browser);
    return browser;
  }

  string[] Requests() => Directory.GetFiles(Path.Combine(folder, "record"), "request-1-*.bin").OrderBy(name => name)
      .Select(name => File.ReadAllText(name)).ToArray();

  static KxException Fails(string call, int result, int number, string text, Action action) {
    var error = Assert.Throws<KxException>(action);
    Assert.Equal((call, result, number), (error.Call, error.Result, error.Number));
    Assert.Matches(text, error.Text);
    return error;
  }

  [Fact]
  public void APlayGivesEverythingThatItLeft() {
    Browser browser = StartWith(options => options.Profiler = true);
    browser.SetVariable("who", "Grüße, 世界 🙂");

    PlayResult left = browser.Play(
        "extract Hello $(who)\nextract \nextract a[EXTRACT]b\nextract \nperformance load 0.25\nperformance none \n");

    Assert.Equal(new[] { "Hello Grüße, 世界 🙂", "", "a[EXTRACT]b", "" }, left.Extracts);
    Assert.Equal(new Dictionary<string, string> { { "load", "0.25" }, { "none", "" } }, left.Performance);
    Assert.Contains("line 1: extract", left.ProfilerData);

    IReadOnlyList<string> extracts = browser.Play("fill 16000000\nextract end").Extracts;
    Assert.Equal(new[] { 16000000, 3 }, extracts.Select(extract => extract.Length));

    Assert.Empty(browser.Play("").Extracts);
    Assert.Empty(browser.Play("", Timeout.InfiniteTimeSpan).Performance);
  }

  [Fact]
  public void ErrorsHaveCallResultNumberAndText() {
    Browser browser = Start("on show result -8 There is no window");

    KxException error = Fails("kx_Play", -1, -50, "^There is no such button$",
        () => browser.Play("extract first\nfail -50 There is no such button"));
    Assert.Equal("kx_Play failed: result -1, error -50: There is no such button", error.Message);
    Assert.Equal(new[] { "first" }, browser.LastPlay().Extracts);
    Assert.Null(browser.LastPlay().ProfilerData);
    Fails("kx_Display", 0, -8, "^There is no window$", () => browser.Show("Hello"));
    Fails("kx_TakeBrowserScreenshot", 0, -930, ".", () => browser.Screenshot(@"Q:\none\page.png"));
    Fails("kx_Play", -1, -3, "^The page took too long$", () => browser.Play("fail -3 The page took too long"));
    Assert.Equal(new[] { "next" }, browser.Play("extract next").Extracts); // which was no time-out of the library's
  }

  [Fact]
  public void AStartWhoseAnswerIsAnErrorIsClosed() {
    Fails("kx_Init", 0, -7, "^Too old$", () => Start("on init result -7 Too old"));

    Assert.Contains("exit", Requests().Last());
  }

  [Fact]
  public void ALaunchThatFailsHasTheErrorOfWindows() {
    Fails("kx_Init", 2, -2, "none.exe doesn't exists$",
        () => Browser.Start(new StartOptions { Profile = profile, Program = Path.Combine(folder, "none.exe") }));
  }

  [Fact]
  public void AnAttachLaunchesNothing() {
    Fails("kx_Init", 3, -3, "^no running browser serves", () => Browser.Start(
        new StartOptions { Profile = profile, AttachOnly = true, Timeout = TimeSpan.FromSeconds(1) }));
  }

  [Fact]
  public void AfterATimeOutRequestsAreRefusedWithTheRemedy() {
    Browser browser = Start("on play 1 no-reply");
    Fails("kx_Play", -1, -3, "receiving", () => browser.Play("extract late", TimeSpan.FromMilliseconds(1)));

    const string remedy = "timed out.*close this browser and start another$";
    Fails("kx_Play", -1, -3, remedy, () => browser.Play(""));
    Fails("kx_Display", -1, -3, remedy, () => browser.Show(""));
    Fails("kx_SetVar", -1, -3, remedy, () => browser.SetVariable("a", "b"));
    Fails("kx_TakeBrowserScreenshot", -1, -3, remedy, () => browser.Screenshot("a.png"));
    Assert.Equal(2, Requests().Length); // start and play
  }

  [Fact]
  public void AfterAnAnswerThatIsNotValidRequestsAreRefused() {
    Browser browser = Start("on play 1 reply {]");
    Fails("kx_Play", -1, -1, "^Error in response processing$", () => browser.Play(""));

    Fails("kx_Play", -1, -1, "^an earlier answer was not valid", () => browser.Play(""));
  }

  [Fact]
  public void ABrowserIsClosedByUsingAndRefusesEveryCall() {
    string page = Path.Combine(folder, "страница.png"), whole = Path.Combine(folder, "whole.png");
    Browser browser;
    using (browser = Start()) {
      browser.Screenshot(page);
      browser.Screenshot(whole, ScreenshotArea.Browser);
    }

    Assert.Contains("exit", Requests().Last());
    Assert.True(File.Exists(page) && File.Exists(whole));
    Fails("kx_Play", -5, 0, "^the browser was closed$", () => browser.Play(""));
    Fails("kx_GetBrowserProcessId", -5, 0, "closed", () => browser.ProcessId.ToString());
    browser.Exit();
  }

  [Fact]
  public void ABrowserThatIsForgottenIsClosed() {
    Browser launched = Launch();
    Assert.True(launched.ProcessId > 0);
    Process process = Process.GetProcessById(launched.ProcessId.Value);

    AttachAndForget();
    GC.Collect();
    GC.WaitForPendingFinalizers();

    process.WaitForExit();
    Fails("kx_Play", -1, -1, ".", () => launched.Play(""));
  }

  [MethodImpl(MethodImplOptions.NoInlining)]
  void AttachAndForget() => Assert.Null(Browser.Start(new StartOptions { Profile = profile, AttachOnly = true }).ProcessId);

  [Fact]
  public void TheEndOfAProcessClosesItsBrowsers() {
    Browser browser = Start();
    using (Process other = Process.Start(Environment.ProcessPath, $"\"{profile}\"")) {
      other.WaitForExit();
      Assert.Equal(0, other.ExitCode);
    }

    Fails("kx_Play", -1, -1, ".", () => browser.Play(""));
    processes.Single().WaitForExit();
    Assert.Equal(0, processes.Single().ExitCode); // it was asked to exit
  }

  [Fact]
  public void CallsOfSeveralThreadsWaitForOneAnother() {
    Browser browser = Start("on play between 1", "on play chunk 20");

    Parallel.Invoke(new[] { "this", "other" }.Select(name => (Action)(() => {
      for (int time = 0; time < 10; ++time) Assert.Equal(new[] { name }, browser.Play("extract " + name).Extracts);
    })).ToArray());
  }

  [Fact]
  public async Task CallsCanBeAwaited() {
    WriteScript();
    StartOptions options = Options;
    options.Program = program;
    Browser kept;
    await using (Browser browser = await Browser.StartAsync(options)) {
      kept = browser;
      await browser.SetVariableAsync("city", "Oslo");
      await browser.ShowAsync("Hello");
      await browser.ScreenshotAsync(Path.Combine(folder, "page.png"));
      PlayResult[] played = await Task.WhenAll(browser.PlayAsync("extract Hello"), browser.PlayAsync("extract Hello"));
      Assert.All(played, each => Assert.Equal(new[] { "Hello" }, each.Extracts));
      Assert.Equal(new[] { "Hello" }, (await browser.LastPlayAsync()).Extracts);
      var error = await Assert.ThrowsAsync<KxException>(() => browser.PlayAsync("fail -50 No"));
      Assert.Equal(-50, error.Number);
    }
    await kept.ExitAsync();
    Assert.Equal(-5, (await Assert.ThrowsAsync<KxException>(() => kept.ShowAsync(""))).Result);
    Assert.Contains("exit", Requests().Last());
  }

  [Fact]
  public async Task ACallThatWaitsForItsTurnCanBeCancelled() {
    Browser browser = Start("on play 1 no-reply");
    Task<PlayResult> first = browser.PlayAsync("", TimeSpan.FromSeconds(1));
    using (var source = new CancellationTokenSource()) {
      Task second = browser.ShowAsync("", null, source.Token);
      source.Cancel();
      await Assert.ThrowsAnyAsync<OperationCanceledException>(() => second);
    }

    await Assert.ThrowsAsync<KxException>(() => first);
    Assert.Equal(2, Requests().Length); // start and play
  }

  [Fact]
  public void ARunnersBrowserIsAttachedToAndAskedToExit() {
    Fails("kxr_Init", -1, -3, "^Connection timed out$",
        () => Browser.StartRunner(new StartOptions { Profile = profile, Timeout = TimeSpan.FromSeconds(1) }));
    string page = Browser.RunnerArguments(
        new StartOptions { Browser = BrowserType.Chrome, UserDataDir = @"C:\my data" }, @"C:\page.html");
    Assert.Contains(@"C:\page.html", page);
    string arguments = Browser.RunnerArguments(Options);
    Assert.Contains($"\"{profile}\"", arguments);

    Process process = RunBrowser(arguments);
    using (Browser browser = Browser.StartRunner(Options)) {
      Assert.Equal(new[] { "here" }, browser.Play("extract here").Extracts);
    }
    process.WaitForExit();
    Assert.Equal(0, process.ExitCode); // it was asked to exit
  }

  [Fact]
  public void AnExitThatIsNotConfirmedKeepsARunnersBrowser() {
    WriteScript("on exit 1 no-reply");
    RunBrowser(Browser.RunnerArguments(Options));
    Browser browser = Kept(Browser.StartRunnerAsync(Options).GetAwaiter().GetResult());

    Fails("kxr_Exit", -3, -3, "receiving", () => browser.Exit(TimeSpan.FromSeconds(1)));

    Assert.Null(browser.ProcessId); // which a closed one refuses to tell
    browser.Exit();
    Fails("kx_GetBrowserProcessId", -5, 0, "closed", () => browser.ProcessId.ToString());
  }

  [Fact]
  public void OptionValuesReachTheBrowserAsTheyAre() {
    WriteScript();
    const string value = "-my a=b -runner csharp";
    using (Browser.Start(new StartOptions { Profile = value, Program = program })) {
    }

    Assert.Contains($"-P \"{value}\"", File.ReadAllText(Path.Combine(folder, "record", "command-line.txt")));
  }

  public static TheoryData<string, StartOptions> Mistakes => new TheoryData<string, StartOptions> {
    { "double quote", new StartOptions { Profile = "a\"b" } },
    { "control character", new StartOptions { Profile = "a\nb" } },
    { "is empty", new StartOptions { Profile = "" } },
    { "ends in a backslash", new StartOptions { Profile = @"a\" } },
    { "surrogate", new StartOptions { Profile = "\ud800" } },
    { "is for Chrome", new StartOptions { UserDataDir = @"C:\a" } },
    { "is for Firefox", new StartOptions { Browser = BrowserType.Chrome, Profile = "a" } },
    { "Firefox or Chrome", new StartOptions { Browser = (BrowserType)7 } },
    { "means nothing", new StartOptions { Program = "a.exe", AttachOnly = true } },
    { "no path", new StartOptions { Program = "" } },
    { "above zero", new StartOptions { Timeout = TimeSpan.Zero } },
    { "above zero", new StartOptions { ExitTimeout = TimeSpan.MaxValue } },
  };

  [Theory]
  [MemberData(nameof(Mistakes))]
  public void OptionsThatCannotBeMeantAreRefused(string text, StartOptions options) {
    Fails("kx_Init", -1, 0, text, () => Browser.Start(options));
  }

  [Fact]
  public void ARunnersOptionsThatCannotBeMeantAreRefused() {
    Fails("kxr_Init", -1, 0, "needs a Profile", () => Browser.StartRunner(new StartOptions()));
    Fails("kxr_Init", -1, 0, "mean nothing", () => Browser.StartRunner(new StartOptions { Profile = "a", Program = "b" }));
    Fails("kxr_Init", -1, 0, "has an end",
        () => Browser.StartRunner(new StartOptions { Profile = "a", Timeout = Timeout.InfiniteTimeSpan }));
  }

  [Fact]
  public async Task ArgumentsThatAreNullAreRefusedByTheirName() {
    Browser browser = Start();

    Assert.Throws<ArgumentNullException>("options", () => Browser.StartRunner(null));
    await Assert.ThrowsAsync<ArgumentNullException>("options", () => Browser.StartRunnerAsync(null));
    Assert.Throws<ArgumentNullException>("options", () => Browser.RunnerArguments(null));
    Assert.Throws<ArgumentNullException>("name", () => browser.SetVariable(null, ""));
    Assert.Throws<ArgumentNullException>("value", () => browser.SetVariable("a", null));
    Assert.Throws<ArgumentNullException>("macro", () => browser.Play(null));
    Assert.Throws<ArgumentNullException>("message", () => browser.Show(null));
    Assert.Throws<ArgumentNullException>("file", () => browser.Screenshot(null));
    Assert.Single(Requests()); // the start alone
  }

  [Fact]
  public void TextsThatWouldArriveCutOrSpoilTheRequestAreRefused() {
    Browser browser = Start();
    foreach (string name in new[] { "a\"b", "a\\b", "a\tb", "a\0b" }) {
      Fails("kx_SetVar", -1, 0, "name holds", () => browser.SetVariable(name, ""));
    }
    Fails("kx_SetVar", -1, 0, "value holds a zero", () => browser.SetVariable("a", "a\0b"));
    Fails("kx_Play", -1, 0, "zero character", () => browser.Play("a\0b"));
    Assert.Single(Requests()); // the start alone
  }
}
