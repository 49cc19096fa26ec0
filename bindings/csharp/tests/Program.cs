// Runs the tests of this assembly in this process: what xunit has for that speaks with another program, which has no Windows
// build here.
using System;
using System.Collections.Generic;
using System.Reflection;
using System.Threading;
using Xunit;
using Xunit.Abstractions;
using Xunit.Sdk;

[assembly: CollectionBehavior(DisableTestParallelization = true)]

static class Program {
  static Kxtcp64.Browser left;

  // With a profile: attaches to the browser of that, and ends without a word to it. A test starts this.
  static int Main(string[] arguments) {
    if (arguments.Length == 1) {
      left = Kxtcp64.Browser.Start(new Kxtcp64.StartOptions { Profile = arguments[0], AttachOnly = true });
      return 0;
    }
    var framework = new XunitTestFramework(new Results());
    using (var results = new Results())
    using (ITestFrameworkExecutor executor = framework.GetExecutor(Assembly.GetExecutingAssembly().GetName())) {
      executor.RunAll(results, new Options(), new Options());
      results.Ended.WaitOne();
      Console.WriteLine($"{results.Passed} passed, {results.Failed} failed");
      return results.Failed == 0 && results.Passed > 0 ? 0 : 1;
    }
  }
}

sealed class Results : LongLivedMarshalByRefObject, IMessageSink, IDisposable {
  internal readonly ManualResetEvent Ended = new ManualResetEvent(false);
  internal int Passed, Failed;

  public void Dispose() => Ended.Dispose();

  public bool OnMessage(IMessageSinkMessage message) {
    switch (message) {
      case ITestPassed passed:
        ++Passed;
        Console.WriteLine($"ok {passed.Test.DisplayName} ({passed.ExecutionTime:0.0} s)");
        break;
      case ITestFailed failed:
        Console.WriteLine($"not ok {failed.Test.DisplayName}");
        Failure(failed);
        break;
      // An error outside a test, in a constructor of a fixture for example.
      case IFailureInformation failure:
        Failure(failure);
        break;
      case ITestAssemblyFinished _:
        Ended.Set();
        break;
    }
    return true;
  }

  void Failure(IFailureInformation failure) {
    ++Failed;
    for (int index = 0; index < failure.Messages.Length; ++index) {
      Console.WriteLine($"{failure.ExceptionTypes[index]}: {failure.Messages[index]}\n{failure.StackTraces[index]}");
    }
  }
}

sealed class Options : LongLivedMarshalByRefObject, ITestFrameworkDiscoveryOptions, ITestFrameworkExecutionOptions {
  readonly Dictionary<string, object> values = new Dictionary<string, object>();

  public TValue GetValue<TValue>(string name) => values.TryGetValue(name, out object value) ? (TValue)value : default;

  public void SetValue<TValue>(string name, TValue value) => values[name] = value;
}
