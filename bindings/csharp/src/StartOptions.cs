using System;

namespace Kxtcp64 {

/// <summary>The browsers that the library knows.</summary>
public enum BrowserType {
  /// <summary>Firefox, which has profiles.</summary>
  Firefox,
  /// <summary>Chrome, which has user data directories.</summary>
  Chrome
}

/// <summary>What a screenshot shows.</summary>
public enum ScreenshotArea {
  /// <summary>The whole browser.</summary>
  Browser = KxConstants.KX_SCREENSHOT_BROWSER,
  /// <summary>The web page.</summary>
  Page = KxConstants.KX_SCREENSHOT_PAGE
}

/// <summary>How a browser is started. A start reads the options once; later changes of them change nothing.</summary>
public sealed class StartOptions {
  /// <summary>Firefox unless it is set.</summary>
  public BrowserType Browser { get; set; } = BrowserType.Firefox;

  /// <summary>Firefox's profile, by its name. Without it Firefox chooses one.</summary>
  public string? Profile { get; set; }

  /// <summary>Chrome's user data directory. Without it Chrome's own.</summary>
  public string? UserDataDir { get; set; }

  /// <summary>The browser's program; a relative path starts from the current folder. Without it the usual place.</summary>
  public string? Program { get; set; }

  /// <summary>Plays leave profiler data.</summary>
  public bool Profiler { get; set; }

  /// <summary>The extension is asked for a new browser window.</summary>
  public bool OpenNewBrowser { get; set; }

  /// <summary>Only a browser that is running already; none is launched.</summary>
  public bool AttachOnly { get; set; }

  /// <summary>
  /// How long the start waits, 60 seconds unless it is set. It also sets the number of attempts, see kx_Init in kxtcp64.h.
  /// </summary>
  public TimeSpan Timeout { get; set; } = TimeSpan.FromSeconds(60);

  /// <summary>The time-out of the exit when a Browser goes without Exit, 10 seconds unless it is set.</summary>
  public TimeSpan ExitTimeout { get; set; } = TimeSpan.FromSeconds(10);
}

}
