using System.Collections.Generic;

namespace Kxtcp64 {

/// <summary>What a play left.</summary>
public sealed class PlayResult {
  internal PlayResult(IReadOnlyList<string> extracts, IReadOnlyList<KeyValuePair<string, string>> performance,
      string? profilerData) {
    Extracts = extracts;
    Performance = performance;
    ProfilerData = profilerData;
  }

  /// <summary>In their order, empty ones included. One empty extract looks like none: the list is then empty.</summary>
  public IReadOnlyList<string> Extracts { get; }

  /// <summary>Names and values, in their order.</summary>
  public IReadOnlyList<KeyValuePair<string, string>> Performance { get; }

  /// <summary>Null unless StartOptions.Profiler asked for it.</summary>
  public string? ProfilerData { get; }
}

}
