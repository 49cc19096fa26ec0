using System;
using System.IO;
using System.Linq;
using System.Text;
using System.Threading;

namespace Kxtcp64 {

// Checks what a host gives, and writes it as the library wants it.
static class Arguments {
  static readonly UTF8Encoding Strict = new UTF8Encoding(false, true);

  internal static KxException Refused(string call, string text, int number = KxConstants.KX_ERROR_NONE) =>
      new KxException(call, KxConstants.KX_FAILED, number, text);

  internal static T NotNull<T>(T? value, string name) where T : class => value ?? throw new ArgumentNullException(name);

  // The library would take a zero for the text's end.
  internal static byte[] Utf8(string call, string what, string text) {
    if (text.IndexOf('\0') >= 0) throw Refused(call, $"{what} holds a zero character");
    try {
      return Strict.GetBytes(text + "\0");
    } catch (EncoderFallbackException) {
      throw Refused(call, $"{what} holds half of a surrogate pair");
    }
  }

  internal static byte[] VariableName(string call, string name) {
    if (name.IndexOf('\\') >= 0 || HasQuoteOrControl(name)) {
      throw Refused(call, "the variable's name holds a double quote, a backslash or a control character");
    }
    return Utf8(call, "the variable's name", name);
  }

  internal static int Seconds(string call, TimeSpan timeout) {
    if (timeout == Timeout.InfiniteTimeSpan) return 0;
    if (timeout <= TimeSpan.Zero || timeout.TotalSeconds > int.MaxValue) {
      throw Refused(call, "a time-out is above zero, and below 68 years; Timeout.InfiniteTimeSpan is no limit");
    }
    return (int)Math.Ceiling(timeout.TotalSeconds);
  }

  internal static byte[] BrowserName(StartOptions options) =>
      Encoding.ASCII.GetBytes(options.Browser == BrowserType.Firefox ? "fx\0" : "cr\0");

  // The options string; quotes let a value begin with a hyphen and hold blanks.
  internal static byte[] Options(string call, StartOptions options, bool runner) {
    bool firefox = options.Browser == BrowserType.Firefox;
    if (!firefox && options.Browser != BrowserType.Chrome) throw Refused(call, "Browser is Firefox or Chrome");
    if ((firefox ? options.UserDataDir : options.Profile) != null) {
      throw Refused(call, firefox ? "UserDataDir is for Chrome; Firefox has a Profile"
                                  : "Profile is for Firefox; Chrome has a UserDataDir");
    }
    var text = new StringBuilder(runner ? "-runner" : "");
    if (options.Profiler) text.Append(" -profiler");
    if (options.Profile != null) text.Append(Option(call, "-fxProfile", options.Profile));
    if (options.UserDataDir != null) text.Append(Option(call, "-crUserDataDir", options.UserDataDir));
    return Utf8(call, "an option", text.ToString());
  }

  // What only a runner's start asks for.
  internal static byte[] RunnerOptions(string call, StartOptions options) {
    if (options.Program != null || options.AttachOnly) {
      throw Refused(call, "Program and AttachOnly mean nothing to a runner: its host starts the program");
    }
    if (options.Profile == null && options.UserDataDir == null) {
      throw Refused(call, "a runner's Firefox needs a Profile, its Chrome a UserDataDir");
    }
    return Options(call, options, true);
  }

  // A whole path with backslashes; null for the usual place, and the empty one launches nothing.
  internal static byte[]? Program(string call, StartOptions options) {
    if (options.AttachOnly) {
      if (options.Program != null) throw Refused(call, "AttachOnly launches no program, so Program means nothing with it");
      return new byte[1];
    }
    return options.Program == null ? null : Utf8(call, "Program", WholePath(call, "Program", options.Program));
  }

  internal static string WholePath(string call, string what, string path) {
    try {
      return Path.GetFullPath(path);
    } catch (Exception error) when (error is ArgumentException || error is NotSupportedException || error is PathTooLongException) {
      throw Refused(call, $"{what} is no path");
    }
  }

  static string Option(string call, string name, string value) {
    if (value.Length == 0 || value.EndsWith("\\", StringComparison.Ordinal) || HasQuoteOrControl(value)) {
      throw Refused(call, $"the value of {name} is empty, ends in a backslash, or holds a double quote or a control " +
          "character: " + value);
    }
    return $" {name}=\"{value}\"";
  }

  static bool HasQuoteOrControl(string text) => text.Any(letter => letter == '"' || letter < ' ');
}

}
