# Starts Firefox with the profile "work", plays a macro, prints its extracts, and closes Firefox.
#
#     first_steps.ps1 BROWSER MACRO-TEXT
param([string] $Program, [string] $Macro)

Import-Module Kxtcp64
$browser = Start-KxBrowser -Profile work -Program $Program
try {
  Invoke-KxMacro $browser $Macro -Variable @{ city = 'Oslo' } | ForEach-Object Extracts
} finally {
  Stop-KxBrowser $browser
}
