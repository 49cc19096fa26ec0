# Starts Firefox with the profile "work", plays a macro, prints its extracts, and closes Firefox.
#
#     first_steps.ps1 BROWSER MACRO-TEXT
param([string] $Program, [string] $Macro)

Import-Module Kxtcp64
try {
  $browser = Start-KxBrowser -Profile work -Program $Program
  try {
    Invoke-KxMacro $browser $Macro -Variable @{ city = 'Oslo' } -ErrorAction Stop | ForEach-Object Extracts
  } finally {
    Stop-KxBrowser $browser
  }
} catch {
  [Console]::Error.WriteLine($_.Exception.Message)
  exit 1
}
