// The module for PowerShell, which is not run here: what its code calls of the wrapper is there.
using System;
using System.IO;
using System.Linq;
using System.Reflection;
using System.Text.RegularExpressions;
using Kxtcp64;
using Xunit;

public sealed class ModuleTests {
  static readonly string Folder = Environment.GetEnvironmentVariable("KX_MODULE");
  static readonly string Code = File.ReadAllText(Path.Combine(Folder, "Kxtcp64.psm1"));
  static readonly string Manifest = File.ReadAllText(Path.Combine(Folder, "Kxtcp64.psd1.in"));

  static string[] Found(string text, string pattern) =>
      Regex.Matches(text, pattern).Select(match => match.Groups[1].Value).Distinct().OrderBy(name => name).ToArray();

  // Whether one of the methods of that name takes the number of arguments that the code gives.
  static void HasMethod(Type type, string name, string arguments) {
    int count = arguments.Length == 0 ? 0 : SplitArguments(arguments);
    Assert.Contains(type.GetMethods(), method => method.Name == name && count <= method.GetParameters().Length &&
        count >= method.GetParameters().Count(parameter => !parameter.IsOptional) &&
        (method.GetParameters().Length == count || count == 0 || name.EndsWith("Runner") || name == "Start"));
  }

  static int SplitArguments(string text) {
    int depth = 0, count = 1;
    foreach (char letter in text) {
      depth += letter == '(' ? 1 : letter == ')' ? -1 : 0;
      if (letter == ',' && depth == 0) ++count;
    }
    return count;
  }

  [Fact]
  public void TheMethodsThatItCallsAreThereWithThatManyArguments() {
    // Arguments may hold parentheses, two deep.
    const string arguments = @"\(((?:[^()]|\((?:[^()]|\([^()]*\))*\))*)\)";
    MatchCollection calls = Regex.Matches(Code, @"\$Browser\.(\w+)" + arguments);
    Assert.Equal(6, calls.Select(call => call.Groups[1].Value).Distinct().Count());
    foreach (Match call in calls) HasMethod(typeof(Browser), call.Groups[1].Value, call.Groups[2].Value);

    calls = Regex.Matches(Code, @"\[Kxtcp64\.Browser\]::(\w+)" + arguments);
    Assert.Equal(3, calls.Count);
    foreach (Match call in calls) HasMethod(typeof(Browser), call.Groups[1].Value, call.Groups[2].Value);
  }

  [Fact]
  public void TheOptionsThatItSetsAreThere() {
    string[] set = Found(Code, @"\$options\.(\w+) = ");
    string[] switches = Found(Regex.Match(Code, @"foreach \(\$switch in ([^)]*)\)").Groups[1].Value, @"'(\w+)'");
    Assert.Equal(3, switches.Length);
    foreach (string name in set.Concat(switches)) Assert.NotNull(typeof(StartOptions).GetProperty(name));
  }

  [Fact]
  public void ASwitchThatIsGivenAsFalseIsNotSet() {
    string[] switches = Found(Code, @"\[switch\] \$(\w+)");
    Assert.Contains("Runner", switches);
    Assert.Contains("Chrome", switches);
    foreach (string name in switches) Assert.DoesNotContain($"ContainsKey('{name}')", Code);
    Assert.Contains("if ($Runner) {", Code);
    Assert.Contains("if ([bool] $Given['Chrome'] ", Code);
  }

  [Fact]
  public void AVariableMayHaveTheNameOfAMemberOfItsDictionary() {
    Assert.Contains("in $Variable.GetEnumerator()) {", Code);
    Assert.DoesNotMatch(@"\$(Variable|Given)\.(Keys|Values|Count|Item)\b", Regex.Replace(Code, "(?m)^ *#.*", ""));
  }

  [Fact]
  public void AFailureEndsTheExampleWithOne() {
    string example = File.ReadAllText(Path.Combine(Folder, "..", "first_steps.ps1"));
    Assert.Matches(@"(?s)try \{\s+\$browser = Start-KxBrowser .*Invoke-KxMacro [^|]* -ErrorAction Stop \|.*\} catch \{[^}]*exit 1\s+\}\s*$", example);
  }

  [Fact]
  public void TheTypesAndConstantsThatItNamesAreThere() {
    foreach (string name in Found(Code, @"\[Kxtcp64\.(\w+)\]")) Assert.NotNull(typeof(Browser).Assembly.GetType("Kxtcp64." + name));
    MatchCollection members = Regex.Matches(Code, @"\[Kxtcp64\.(KxConstants|BrowserType|ScreenshotArea)\]::(\w+)");
    Assert.Equal(5, members.Count);
    foreach (Match member in members) {
      Type type = typeof(Browser).Assembly.GetType("Kxtcp64." + member.Groups[1].Value);
      Assert.NotEmpty(type.GetMember(member.Groups[2].Value));
    }
  }

  [Fact]
  public void TheFunctionsThatItSaysItHasAreThoseOfTheCode() {
    string[] functions = Found(Code, @"(?m)^function (\w+-Kx\w+)");
    Assert.Equal(8, functions.Length);
    Assert.Equal(functions, Found(Regex.Match(Manifest, @"FunctionsToExport = @\(([^)]*)\)").Groups[1].Value, @"'([\w-]+)'"));
  }

  [Fact]
  public void EveryFunctionHasHelpForEveryParameter() {
    foreach (string function in Regex.Split(Code, @"(?m)^function ").Where(part => Regex.IsMatch(part, @"^\w+-Kx"))) {
      Assert.Contains(".SYNOPSIS", function);
      string parameters = function.Substring(function.LastIndexOf("param(", StringComparison.Ordinal));
      parameters = Regex.Split(parameters, @"\)\r?\n  (?:process|Invoke|\$)")[0];
      Assert.Equal(Found(parameters, @"\] \$(\w+)"), Found(function, @"\.PARAMETER (\w+)"));
    }
  }
}
