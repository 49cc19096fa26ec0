// Starts Firefox with the profile "work", plays a macro, prints its extracts, and closes Firefox.
//
//     first_steps BROWSER MACRO-TEXT
using System;
using Kxtcp64;

try {
  using Browser browser = Browser.Start(new StartOptions { Profile = "work", Program = args[0] });
  browser.SetVariable("city", "Oslo");
  foreach (string extract in browser.Play(args[1]).Extracts) Console.WriteLine(extract);
  return 0;
} catch (KxException error) {
  Console.Error.WriteLine(error.Message);
  return 1;
}
