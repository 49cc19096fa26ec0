// The texts of --help that the list of options does not give: examples, exit codes, the completion script.
#pragma once

namespace kx::cli {

inline constexpr char kAbout[] =
    "kx plays macros in Firefox or Chrome through KXTCP64.dll, tells what a start does and what a log means, "
    "and "
    "tries the library on this machine.";

inline constexpr char kMainFooter[] = R"help(`kx VERB --help` has the options of a verb, and examples.

Exit codes: 0 all went well; 1 a macro failed; 2 wrong use; 3 no connection, or it was lost; 4 the program cannot
do its work (no library, for example); 130 Ctrl-C.

Environment: NO_COLOR prints without colours. KORVEX_LOG and KORVEX_LOGPATH switch the library's log on.
)help";

inline constexpr char kPlayExamples[] = R"help(Examples:
  kx play order.txt --profile work
      starts Firefox with the profile "work", plays the macro, prints its extracts and closes the browser
  kx play --macro "extract $(city)" --var city=Oslo --program C:\sdk\bin\kxsim.exe
      plays in the simulator, without a browser
  kx play order.txt --rows orders.csv --parallel 4 --profile work-{n} --retries 1 --json > results.jsonl
      one run for each row of the table, in four browsers with the profiles work-1 to work-4
  kx play order.txt --rows orders.csv --report report.html
      the same in one browser, with a page that tells of all runs
  type order.txt | kx play - --attach
      plays in a Firefox that is running, and leaves it open

A browser that kx launched is closed at the end, unless --stay is given. One that was running before stays open.
Ctrl-C lets the running call end and then closes the browser; a second Ctrl-C ends the browser at once, and
kx itself when the call has not returned three seconds later.
)help";

inline constexpr char kExplainExamples[] = R"help(Examples:
  kx explain --profile work
  kx explain --browser cr --profile C:\macros\chrome --runner --json
)help";

inline constexpr char kLogExamples[] = R"help(Examples:
  kx log korvex.log
  kx log --follow
  kx log --redact korvex.log > for-the-report.txt
)help";

inline constexpr char kSimExamples[] = R"help(Examples:
  kx sim --list
  kx sim late-answer
      serves the pipe of the default profile; a host that attaches gets its answers after three seconds
  kx sim stays no-number --profile work --again
      what a host with -fxProfile "work" meets; starts anew each time a host has ended it
  kx sim sudden-death --print-script > kxsim.script
      for a host that launches kxsim.exe itself: the file belongs beside it

The simulator's own `kxsim --help` has its scripts and its macros. Ctrl-C ends it.
)help";

inline constexpr char kSelfTestExamples[] = R"help(Examples:
  kx selftest
      less than a minute; the last line tells where the report for a bug report lies
  kx selftest --list
  kx selftest --only launch-firefox --only start-lock --json

It starts the simulator that lies beside kx.exe, no browser, and leaves nothing behind but its report. Exit codes:
0 everything is as expected; 1 something is not: please send the report; 2 wrong use; 4 the library or the simulator is
missing, or the report cannot be written; 130 Ctrl-C.
)help";

inline constexpr char kCompletionExamples[] = R"help(Example, for a PowerShell profile:
  kx completion | Out-String | Invoke-Expression
)help";

inline constexpr char kCompletionScript[] =
    R"help(Register-ArgumentCompleter -Native -CommandName kx -ScriptBlock {
  param($word, $line, $position)
  $verbs = @{
@@VERBS@@  }
  $words = $line.CommandElements | ForEach-Object { $_.ToString() }
  $known = if ($words.Count -gt 1 -and $verbs.ContainsKey($words[1])) { $verbs[$words[1]] + '--help' } else { $verbs.Keys + '--help' + '--version' }
  $known | Where-Object { $_ -like "$word*" } | Sort-Object | ForEach-Object { [System.Management.Automation.CompletionResult]::new($_) }
}
)help";

}  // namespace kx::cli
