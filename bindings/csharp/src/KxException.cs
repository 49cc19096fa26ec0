using System;

namespace Kxtcp64 {

/// <summary>
/// What went wrong. The other exceptions of this library are ArgumentNullException, for an argument that is null and may not
/// be, and OperationCanceledException. Every other mistake in the arguments has Result KX_FAILED and Number KX_ERROR_NONE.
/// </summary>
public sealed class KxException : Exception {
  internal KxException(string call, int result, int number, string text, Exception? cause = null)
      : base($"{call} failed: result {result}, error {number}: {text}", cause) {
    Call = call;
    Result = result;
    Number = number;
    Text = text;
  }

  /// <summary>The function of kxtcp64.h, whether it was called or only asked for.</summary>
  public string Call { get; }

  /// <summary>
  /// The function's result; KX_FAILED when it was not called. KX_OK when the browser answered with an error to a start, a
  /// message or a screenshot. A start that could not launch the program has Windows' error number, above 0.
  /// </summary>
  public int Result { get; }

  /// <summary>The library's error number.</summary>
  public int Number { get; }

  /// <summary>The library's error text.</summary>
  public string Text { get; }
}

}
