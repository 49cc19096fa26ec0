# The functions of the module; the manifest says which of them users see. Each calls the wrapper for .NET, Kxtcp64.Net.dll,
# which lies beside this file with KXTCP64.dll.
Set-StrictMode -Version 3.0

# The time-out that the wrapper takes; 0 seconds are no limit.
function ConvertTo-Timeout([int] $Seconds) {
  if ($Seconds -eq 0) { [System.Threading.Timeout]::InfiniteTimeSpan } else { [timespan]::FromSeconds($Seconds) }
}

# Runs what calls the wrapper. A KxException becomes an error of the caller's, with the exception and what it was about.
function Invoke-Wrapper([System.Management.Automation.PSCmdlet] $Caller, [object] $Target, [scriptblock] $Call, [switch] $Terminating) {
  $kx = $null
  try {
    & $Call
  } catch [Kxtcp64.KxException] {
    $kx = $_.Exception
  } catch [System.Management.Automation.MethodInvocationException] {
    if ($_.Exception.InnerException -isnot [Kxtcp64.KxException]) { throw }
    $kx = $_.Exception.InnerException
  }
  if ($null -eq $kx) { return }
  $category = switch ($kx.Number) {
    ([Kxtcp64.KxConstants]::KX_ERROR_NONE) { [System.Management.Automation.ErrorCategory]::InvalidArgument }
    ([Kxtcp64.KxConstants]::KX_ERROR_TIMEOUT) { [System.Management.Automation.ErrorCategory]::OperationTimeout }
    default { [System.Management.Automation.ErrorCategory]::NotSpecified }
  }
  $record = [System.Management.Automation.ErrorRecord]::new($kx, "Kxtcp64,$($kx.Call)", $category, $Target)
  if ($Terminating) { $Caller.ThrowTerminatingError($record) } else { $Caller.WriteError($record) }
}

function New-StartOption([System.Collections.IDictionary] $Given) {
  $options = [Kxtcp64.StartOptions]::new()
  if ($Given.ContainsKey('Profile')) { $options.Profile = $Given.Profile }
  if ([bool] $Given['Chrome'] -or $Given.ContainsKey('UserDataDir')) {
    $options.Browser = [Kxtcp64.BrowserType]::Chrome
    if ($Given.ContainsKey('UserDataDir')) { $options.UserDataDir = $Given.UserDataDir }
  }
  if ($Given.ContainsKey('Program')) {
    $options.Program = $ExecutionContext.SessionState.Path.GetUnresolvedProviderPathFromPSPath($Given.Program)
  }
  foreach ($switch in 'Profiler', 'OpenNewBrowser', 'AttachOnly') {
    if ($Given.ContainsKey($switch)) { $options.$switch = [bool] $Given[$switch] }
  }
  if ($Given.ContainsKey('TimeoutSec')) { $options.Timeout = ConvertTo-Timeout $Given.TimeoutSec }
  $options
}

function Start-KxBrowser {
  <#
  .SYNOPSIS
  Starts Firefox or Chrome, or attaches to the one that runs with that profile.
  .DESCRIPTION
  Gives the browser, which the other commands take. Stop-KxBrowser closes it; one that is forgotten is closed later, and all
  are closed when PowerShell ends.
  .PARAMETER Profile
  Firefox's profile, by its name. Without it Firefox chooses one.
  .PARAMETER Chrome
  Starts Chrome with its own user data directory.
  .PARAMETER UserDataDir
  Starts Chrome with this user data directory.
  .PARAMETER Program
  The browser's program. Without it the usual place.
  .PARAMETER Profiler
  Plays leave profiler data.
  .PARAMETER OpenNewBrowser
  Asks the extension for a new browser window.
  .PARAMETER AttachOnly
  Takes only a browser that is running already.
  .PARAMETER Runner
  Attaches to a browser that was started with what Get-KxRunnerArgument gives. Needs Profile or UserDataDir.
  .PARAMETER TimeoutSec
  How long to wait, 60 seconds unless it is given; 0 waits without a limit.
  .EXAMPLE
  $browser = Start-KxBrowser -Profile work
  'extract Hello' | Invoke-KxMacro $browser
  Stop-KxBrowser $browser
  #>
  [CmdletBinding(DefaultParameterSetName = 'Firefox')]
  [OutputType([Kxtcp64.Browser])]
  param(
    [Parameter(ParameterSetName = 'Firefox', Position = 0)] [string] $Profile,
    [Parameter(ParameterSetName = 'Chrome', Mandatory)] [switch] $Chrome,
    [Parameter(ParameterSetName = 'UserDataDir', Mandatory)] [string] $UserDataDir,
    [string] $Program,
    [switch] $Profiler,
    [switch] $OpenNewBrowser,
    [switch] $AttachOnly,
    [switch] $Runner,
    [ValidateRange(0, [int]::MaxValue)] [int] $TimeoutSec)
  $given = $PSBoundParameters
  Invoke-Wrapper $PSCmdlet $null -Terminating {
    $options = New-StartOption $given
    if ($Runner) { [Kxtcp64.Browser]::StartRunner($options) } else { [Kxtcp64.Browser]::Start($options) }
  }
}

function Stop-KxBrowser {
  <#
  .SYNOPSIS
  Closes browsers, also those that were attached to.
  .PARAMETER Browser
  What Start-KxBrowser gave. Closing it twice does nothing.
  .PARAMETER TimeoutSec
  How long to wait, 10 seconds unless it is given; 0 waits without a limit.
  .EXAMPLE
  $first, $second | Stop-KxBrowser
  #>
  [CmdletBinding()]
  param(
    [Parameter(Mandatory, Position = 0, ValueFromPipeline)] [Kxtcp64.Browser] $Browser,
    [ValidateRange(0, [int]::MaxValue)] [int] $TimeoutSec = 10)
  process { Invoke-Wrapper $PSCmdlet $Browser { $Browser.Exit((ConvertTo-Timeout $TimeoutSec)) } }
}

function Invoke-KxMacro {
  <#
  .SYNOPSIS
  Plays macros in a browser, and gives what each left.
  .DESCRIPTION
  The result has Extracts, Performance (names and values) and ProfilerData. A play that fails is an error, and gives nothing:
  Get-KxLastPlay then has what the macro had left by then. The next macro is played all the same, unless -ErrorAction Stop
  says otherwise.
  .PARAMETER Browser
  What Start-KxBrowser gave.
  .PARAMETER Macro
  The macro's text, also from the pipeline. Get-Content -Raw reads it from a file.
  .PARAMETER Variable
  Names and values of variables, set before each macro.
  .PARAMETER TimeoutSec
  How long each single wait may last, 60 seconds unless it is given; 0 waits without a limit.
  .EXAMPLE
  Get-Content -Raw order.txt | Invoke-KxMacro $browser -Variable @{ city = 'Oslo' } | ForEach-Object Extracts
  #>
  [CmdletBinding()]
  [OutputType([Kxtcp64.PlayResult])]
  param(
    [Parameter(Mandatory, Position = 0)] [Kxtcp64.Browser] $Browser,
    [Parameter(Mandatory, Position = 1, ValueFromPipeline)] [AllowEmptyString()] [string] $Macro,
    [System.Collections.IDictionary] $Variable = @{},
    [ValidateRange(0, [int]::MaxValue)] [int] $TimeoutSec = 60)
  process {
    Invoke-Wrapper $PSCmdlet $Macro {
      # $Variable.Keys would be the value of a variable whose name is keys.
      foreach ($entry in $Variable.GetEnumerator()) { $Browser.SetVariable($entry.Key, $entry.Value) }
      $Browser.Play($Macro, (ConvertTo-Timeout $TimeoutSec))
    }
  }
}

function Get-KxLastPlay {
  <#
  .SYNOPSIS
  Gives once more what the last play left; after one that has failed, what it had left by then.
  .DESCRIPTION
  ProfilerData is that of the last answer, which may be another one than the play's.
  .PARAMETER Browser
  What Start-KxBrowser gave.
  #>
  [CmdletBinding()]
  [OutputType([Kxtcp64.PlayResult])]
  param([Parameter(Mandatory, Position = 0, ValueFromPipeline)] [Kxtcp64.Browser] $Browser)
  process { Invoke-Wrapper $PSCmdlet $Browser { $Browser.LastPlay() } }
}

function Set-KxVariable {
  <#
  .SYNOPSIS
  Sets a variable for the next play.
  .PARAMETER Browser
  What Start-KxBrowser gave.
  .PARAMETER Name
  The variable's name.
  .PARAMETER Value
  The variable's value.
  #>
  [CmdletBinding()]
  param(
    [Parameter(Mandatory, Position = 0)] [Kxtcp64.Browser] $Browser,
    [Parameter(Mandatory, Position = 1)] [string] $Name,
    [Parameter(Mandatory, Position = 2)] [AllowEmptyString()] [string] $Value)
  Invoke-Wrapper $PSCmdlet $Name { $Browser.SetVariable($Name, $Value) }
}

function Show-KxMessage {
  <#
  .SYNOPSIS
  Shows a message to the user, in the browser.
  .PARAMETER Browser
  What Start-KxBrowser gave.
  .PARAMETER Message
  The message.
  .PARAMETER TimeoutSec
  How long each single wait may last, 60 seconds unless it is given; 0 waits without a limit.
  #>
  [CmdletBinding()]
  param(
    [Parameter(Mandatory, Position = 0)] [Kxtcp64.Browser] $Browser,
    [Parameter(Mandatory, Position = 1, ValueFromPipeline)] [AllowEmptyString()] [string] $Message,
    [ValidateRange(0, [int]::MaxValue)] [int] $TimeoutSec = 60)
  process { Invoke-Wrapper $PSCmdlet $Message { $Browser.Show($Message, (ConvertTo-Timeout $TimeoutSec)) } }
}

function Save-KxScreenshot {
  <#
  .SYNOPSIS
  Has the browser save a picture of the page, and gives the file.
  .PARAMETER Browser
  What Start-KxBrowser gave.
  .PARAMETER Path
  The file to write.
  .PARAMETER WholeBrowser
  A picture of the whole browser in the place of the page.
  .PARAMETER TimeoutSec
  How long each single wait may last, 60 seconds unless it is given; 0 waits without a limit.
  #>
  [CmdletBinding()]
  [OutputType([System.IO.FileInfo])]
  param(
    [Parameter(Mandatory, Position = 0)] [Kxtcp64.Browser] $Browser,
    [Parameter(Mandatory, Position = 1)] [string] $Path,
    [switch] $WholeBrowser,
    [ValidateRange(0, [int]::MaxValue)] [int] $TimeoutSec = 60)
  $file = $ExecutionContext.SessionState.Path.GetUnresolvedProviderPathFromPSPath($Path)
  $area = if ($WholeBrowser) { [Kxtcp64.ScreenshotArea]::Browser } else { [Kxtcp64.ScreenshotArea]::Page }
  Invoke-Wrapper $PSCmdlet $Path {
    $Browser.Screenshot($file, $area, (ConvertTo-Timeout $TimeoutSec))
    [System.IO.FileInfo]::new($file)
  }
}

function Get-KxRunnerArgument {
  <#
  .SYNOPSIS
  Gives the arguments, without the program, for who starts the browser's program without Start-KxBrowser.
  .DESCRIPTION
  Start-KxBrowser -Runner then attaches to it.
  .PARAMETER Profile
  Firefox's profile.
  .PARAMETER UserDataDir
  Chrome's user data directory.
  .PARAMETER Page
  Chrome's start page; without it one is made in the folder that TEMP names.
  .PARAMETER Profiler
  Plays leave profiler data.
  .EXAMPLE
  Start-Process firefox.exe (Get-KxRunnerArgument -Profile work)
  $browser = Start-KxBrowser -Profile work -Runner
  #>
  [CmdletBinding(DefaultParameterSetName = 'Firefox')]
  [OutputType([string])]
  param(
    [Parameter(ParameterSetName = 'Firefox', Mandatory, Position = 0)] [string] $Profile,
    [Parameter(ParameterSetName = 'UserDataDir', Mandatory)] [string] $UserDataDir,
    [Parameter(ParameterSetName = 'UserDataDir')] [string] $Page,
    [switch] $Profiler)
  $given = $PSBoundParameters
  # PowerShell would make an empty text of $null.
  $startPage = if ($given.ContainsKey('Page')) { $Page } else { [NullString]::Value }
  Invoke-Wrapper $PSCmdlet $null -Terminating { [Kxtcp64.Browser]::RunnerArguments((New-StartOption $given), $startPage) }
}
