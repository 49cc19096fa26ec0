{ The unit with the DLL and the simulator, which play a browser together.

      wrapper_test SIMULATOR FOLDER }
program wrapper_test;

{$MODE DELPHIUNICODE}
{$APPTYPE CONSOLE}
{$CODEPAGE UTF8}

uses
  SysUtils, Windows, Classes, kxtcp64;

type
  TAction = procedure;

  TPlayer = class(TThread)
  private
    FBrowser: TKxBrowser;
    FName: string;
    FWrong: Integer;
  protected
    procedure Execute; override;
  public
    constructor Create(ABrowser: TKxBrowser; const AName: string);
  end;

var
  Simulator, Root, Folder, Profile, BrowserFile: string;
  Count, Failures: Integer;
  Process, Output: THandle;
  Browser: TKxBrowser;
  Options: TKxStartOptions;

procedure Check(ACondition: Boolean; const AWhat: string);
begin
  if ACondition then
    System.Exit;
  Inc(Failures);
  WriteLn('not true: ', UTF8Encode(AWhat));
end;

procedure CheckText(const AWanted, AFound: string);
begin
  Check(AWanted = AFound, '"' + AFound + '" is "' + AWanted + '"');
end;

procedure CheckNumber(AWanted, AFound: Integer; const AWhat: string);
begin
  Check(AWanted = AFound, AWhat + ': ' + string(IntToStr(AFound)) + ' is ' + string(IntToStr(AWanted)));
end;

{ The action raises this error, whose text holds those words. }
procedure Fails(const ACall: string; AResult, ANumber: Integer; const AWords: string; AAction: TAction);
begin
  try
    AAction();
    Check(False, ACall + ' fails with ' + AWords);
  except
    on Error: EKxError do
      Check((Error.Call = ACall) and (Error.Result = AResult) and (Error.Number = ANumber) and (Pos(AWords, Error.Text) > 0),
        string(UTF8String(Error.Message)) + ' is ' + ACall + ' ' + string(IntToStr(AResult)) + ' ' + string(IntToStr(ANumber)) + ' ' + AWords);
  end;
end;

procedure WriteScript(const ALines: array of string);
var
  Lines: TStringList;
  Line: string;
begin
  Lines := TStringList.Create;
  try
    Lines.Add(UTF8Encode('record ' + Folder + '\record'));
    for Line in ALines do
      Lines.Add(UTF8Encode(Line));
    Lines.SaveToFile(AnsiString(Folder + '\browser.script'));
  finally
    Lines.Free;
  end;
end;

{ Starts the simulator as a user does, and waits until hosts can connect. }
procedure RunBrowser(const AArguments: string);
var
  Security: TSecurityAttributes;
  Startup: TStartupInfoW;
  Information: TProcessInformation;
  Input: THandle;
  CommandLine, Line: string;
  Letter: AnsiChar;
  Got: DWORD;
begin
  FillChar(Security, SizeOf(Security), 0);
  Security.nLength := SizeOf(Security);
  Security.bInheritHandle := True;
  CreatePipe(Output, Input, @Security, 0);
  FillChar(Startup, SizeOf(Startup), 0);
  Startup.cb := SizeOf(Startup);
  Startup.dwFlags := STARTF_USESTDHANDLES;
  Startup.hStdOutput := Input;
  Startup.hStdError := GetStdHandle(STD_ERROR_HANDLE);
  CommandLine := '"' + BrowserFile + '" --verbose ' + AArguments;
  UniqueString(CommandLine);
  if not CreateProcessW(nil, PWideChar(CommandLine), nil, nil, True, 0, nil, nil, Startup, Information) then
    raise Exception.Create('the simulator cannot be started');
  CloseHandle(Input);
  CloseHandle(Information.hThread);
  Process := Information.hProcess;
  Line := '';
  while Line <> 'serving' do
  begin
    Line := '';
    repeat
      if not ReadFile(Output, Letter, 1, Got, nil) or (Got = 0) then
        raise Exception.Create('the simulator does not serve its pipe');
      if (Letter <> #10) and (Letter <> #13) then
        Line := Line + Char(Letter);
    until Letter = #10;
  end;
end;

{ Attaches, which does not take the two seconds that the library gives a browser that it has launched. }
procedure StartIt(const AScript: array of string);
begin
  WriteScript(AScript);
  RunBrowser(TKxBrowser.RunnerArguments(Options));
  Browser := TKxBrowser.StartRunner(Options);
end;

function Requests: Integer;
var
  Found: TUnicodeSearchRec;
begin
  Result := 0;
  if FindFirst(Folder + '\record\request-1-*.bin', faAnyFile, Found) = 0 then
    repeat
      Inc(Result);
    until FindNext(Found) <> 0;
  SysUtils.FindClose(Found);
end;

constructor TPlayer.Create(ABrowser: TKxBrowser; const AName: string);
begin
  FBrowser := ABrowser;
  FName := AName;
  inherited Create(False);
end;

procedure TPlayer.Execute;
var
  Time: Integer;
  Left: TKxPlayResult;
begin
  for Time := 1 to 10 do
  begin
    Left := FBrowser.Play('extract ' + FName);
    if (Length(Left.Extracts) <> 1) or (Left.Extracts[0] <> FName) then
      Inc(FWrong);
  end;
end;

{ What fails. }

procedure PlayNothing; begin Browser.Play(''); end;
procedure PlayLate; begin Browser.Play('extract late', 1); end;
procedure PlayFail; begin Browser.Play('extract first'#10'fail -50 There is no such button'); end;
procedure PlaySlowPage; begin Browser.Play('fail -3 The page took too long'); end;
procedure PlayZero; begin Browser.Play('a'#0'b'); end;
procedure PlayWithoutTime; begin Browser.Play('', 0); end;
procedure ShowIt; begin Browser.Show('Hello'); end;
procedure PictureNowhere; begin Browser.Screenshot('Q:\none\page.png'); end;
procedure SetIt; begin Browser.SetVariable('a', 'b'); end;
procedure SetQuote; begin Browser.SetVariable('a"b', ''); end;
procedure SetBackslash; begin Browser.SetVariable('a\b', ''); end;
procedure SetTab; begin Browser.SetVariable('a'#9'b', ''); end;
procedure SetHalf; begin Browser.SetVariable('a', #$D800); end;
procedure AskProcess; begin if Browser.ProcessId = 0 then; end;
procedure ExitSoon; begin Browser.Exit(1); end;
procedure StartOnly; begin TKxBrowser.Start(Options).Free; end;
procedure StartRunnerOnly; begin TKxBrowser.StartRunner(Options).Free; end;

{ The tests. }

procedure APlayGivesEverythingThatItLeft;
var
  Left: TKxPlayResult;
begin
  StartIt([]);
  Browser.SetVariable('who', 'Grüße, 世界 🙂');
  Left := Browser.Play('extract Hello $(who)'#10'extract '#10'extract a[EXTRACT]b'#10'extract '#10 +
    'performance load 0.25'#10'performance none '#10);
  CheckNumber(4, Length(Left.Extracts), 'extracts');
  CheckText('Hello Grüße, 世界 🙂', Left.Extracts[0]);
  CheckText('', Left.Extracts[1]);
  CheckText('a[EXTRACT]b', Left.Extracts[2]);
  CheckText('', Left.Extracts[3]);
  CheckNumber(2, Length(Left.Performance), 'performance');
  CheckText('load', Left.Performance[0].Name);
  CheckText('0.25', Left.Performance[0].Value);
  CheckText('none', Left.Performance[1].Name);
  CheckText('', Left.Performance[1].Value);
  CheckText('', Left.ProfilerData);

  Left := Browser.Play('fill 16000000'#10'extract end', INFINITE);
  CheckNumber(16000000, Length(Left.Extracts[0]), 'a long extract');
  CheckText('end', Left.Extracts[1]);
  CheckNumber(0, Length(Browser.Play('').Extracts), 'no extracts');
end;

procedure ErrorsHaveCallResultNumberAndText;
begin
  StartIt(['on show 1 result -8 There is no window']);
  Fails('kx_Play', -1, -50, 'There is no such button', PlayFail);
  CheckNumber(1, Length(Browser.LastPlay.Extracts), 'what it had left');
  CheckText('first', Browser.LastPlay.Extracts[0]);
  Fails('kx_Display', 0, -8, 'There is no window', ShowIt);
  Fails('kx_TakeBrowserScreenshot', 0, -930, 'Could not write screenshot', PictureNowhere);
  Fails('kx_Play', -1, -3, 'The page took too long', PlaySlowPage);
  Browser.Show('which was no time-out of the library''s');
  try
    Browser.Play('fail -50 Größe');
  except
    on Error: EKxError do
      CheckText('kx_Play failed: result -1, error -50: Größe', string(UTF8String(Error.Message)));
  end;
end;

procedure AfterATimeOutRequestsAreRefusedWithTheRemedy;
const
  Remedy = 'late answer would count as the next one''s; close this browser and start another';
begin
  StartIt(['on play 1 no-reply']);
  Fails('kx_Play', -1, -3, 'receiving', PlayLate);
  Fails('kx_Play', -1, -3, Remedy, PlayNothing);
  Fails('kx_Display', -1, -3, Remedy, ShowIt);
  Fails('kx_SetVar', -1, -3, Remedy, SetIt);
  Fails('kx_TakeBrowserScreenshot', -1, -3, Remedy, PictureNowhere);
  CheckNumber(2, Requests, 'start and play');
end;

procedure AfterAnAnswerThatIsNotValidRequestsAreRefused;
begin
  StartIt(['on play 1 reply {]']);
  Fails('kx_Play', -1, -1, 'Error in response processing', PlayNothing);
  Fails('kx_Play', -1, -1, 'an earlier answer was not valid', PlayNothing);
end;

procedure AStartWhoseAnswerIsAnErrorIsClosed;
begin
  WriteScript(['on init result -7 Too old']);
  RunBrowser(TKxBrowser.RunnerArguments(Options));
  Fails('kxr_Init', 0, -7, 'Too old', StartRunnerOnly);
  CheckNumber(2, Requests, 'start and exit');
end;

procedure AnExitThatIsNotConfirmedKeepsTheBrowser;
begin
  StartIt(['on exit 1 no-reply']);
  Fails('kxr_Exit', -3, -3, 'receiving', ExitSoon);
  CheckNumber(0, Browser.ProcessId, 'which a closed one refuses to tell');
  Browser.Exit;
  Fails('kx_GetBrowserProcessId', -5, 0, 'closed', AskProcess);
  Fails('kx_Play', -5, 0, 'the browser was closed', PlayNothing);
  Browser.Exit;
end;

procedure ALaunchedBrowserIsClosedWhenItIsFreed;
var
  Attached: TKxBrowser;
  Code: DWORD;
begin
  WriteScript([]);
  Options.ProgramFile := BrowserFile;
  Options.Profiler := True;
  Browser := TKxBrowser.Start(Options);
  Check(Browser.ProcessId <> 0, 'it was launched');
  Process := OpenProcess(SYNCHRONIZE or PROCESS_QUERY_INFORMATION, False, Browser.ProcessId);
  Check(Pos('line 1: extract', Browser.Play('extract a').ProfilerData) > 0, 'profiler data');

  Options.ProgramFile := '';
  Options.AttachOnly := True;
  Attached := TKxBrowser.Start(Options);
  try
    CheckNumber(0, Attached.ProcessId, 'it was attached to');
    Attached.Screenshot(Folder + '\страница.png');
    Attached.Screenshot(Folder + '\whole.png', kxWholeBrowser);
    Check(FileExists(Folder + '\страница.png') and FileExists(Folder + '\whole.png'), 'pictures');
  finally
    Attached.Free;
  end;
  WaitForSingleObject(Process, Windows.INFINITE);
  GetExitCodeProcess(Process, Code);
  CheckNumber(0, Code, 'it was asked to exit');
end;

procedure StartsThatFail;
begin
  Options.ProgramFile := Folder + '\none.exe';
  Fails('kx_Init', 2, -2, 'none.exe doesn''t exists', StartOnly);
  Options.ProgramFile := '';
  Options.AttachOnly := True;
  Options.Timeout := 1;
  Fails('kx_Init', 3, -3, 'no running browser serves', StartOnly);
end;

procedure CallsOfSeveralThreadsWaitForOneAnother;
var
  First, Second: TPlayer;
begin
  StartIt(['on play between 1', 'on play chunk 20']);
  First := TPlayer.Create(Browser, 'this');
  Second := TPlayer.Create(Browser, 'other');
  First.WaitFor;
  Second.WaitFor;
  Check((First.FatalException = nil) and (Second.FatalException = nil), 'nothing was raised');
  CheckNumber(0, First.FWrong + Second.FWrong, 'answers of others');
  First.Free;
  Second.Free;
end;

procedure WhatCannotBeMeantIsRefused;
begin
  Options.Profile := 'a"b';
  Fails('kx_Init', -1, 0, 'double quote', StartOnly);
  Options.Profile := 'a'#10'b';
  Fails('kx_Init', -1, 0, 'control character', StartOnly);
  Options.Profile := 'a\';
  Fails('kx_Init', -1, 0, 'ends in a backslash', StartOnly);
  Options.Profile := #$DC00;
  Fails('kx_Init', -1, 0, 'surrogate', StartOnly);
  Options.Profile := 'a';
  Options.Browser := kxChrome;
  Fails('kx_Init', -1, 0, 'is for Firefox', StartOnly);
  Options := KxDefaultOptions;
  Options.UserDataDir := 'C:\a';
  Fails('kx_Init', -1, 0, 'is for Chrome', StartOnly);
  Options := KxDefaultOptions;
  Fails('kxr_Init', -1, 0, 'needs a Profile', StartRunnerOnly);
  Options.AttachOnly := True;
  Options.ProgramFile := 'a.exe';
  Fails('kx_Init', -1, 0, 'means nothing', StartOnly);
  Fails('kxr_Init', -1, 0, 'mean nothing', StartRunnerOnly);
  Options := KxDefaultOptions;
  Options.Profile := 'a';
  Options.Timeout := INFINITE;
  Fails('kxr_Init', -1, 0, 'has an end', StartRunnerOnly);

  Options := KxDefaultOptions;
  Options.Profile := Profile;
  StartIt([]);
  Fails('kx_SetVar', -1, 0, 'name holds', SetQuote);
  Fails('kx_SetVar', -1, 0, 'name holds', SetBackslash);
  Fails('kx_SetVar', -1, 0, 'name holds', SetTab);
  Fails('kx_SetVar', -1, 0, 'surrogate', SetHalf);
  Fails('kx_Play', -1, 0, 'zero character', PlayZero);
  Fails('kx_Play', -1, 0, 'above zero', PlayWithoutTime);
  CheckNumber(1, Requests, 'the start alone');
end;

procedure WhatCreateMakesOwnsNothing;
var
  First: TKxBrowser;
begin
  StartIt([]);
  First := Browser;
  Browser := TKxBrowser.Create;
  try
    Fails('kx_Play', -5, 0, 'there is no browser', PlayNothing);
    Fails('kx_GetBrowserProcessId', -5, 0, 'there is no browser', AskProcess);
    Browser.Exit;
  finally
    Browser.Free;
    Browser := First;
  end;
  CheckNumber(1, Length(Browser.Play('extract here').Extracts), 'the first browser plays');
end;

procedure AChromeOfARunnerHasItsPage;
begin
  Options := KxDefaultOptions;
  Options.Browser := kxChrome;
  Options.UserDataDir := 'C:\my data';
  Check(Pos('C:\page.html', TKxBrowser.RunnerArguments(Options, 'C:\page.html')) > 0, 'the page is among the arguments');
end;

procedure Run(const AName: string; ATest: TAction);
var
  Before: Integer;
begin
  Inc(Count);
  Before := Failures;
  Folder := Root + '\' + AName;
  CreateDir(Folder);
  BrowserFile := Folder + '\browser.exe';
  CopyFileW(PWideChar(Simulator), PWideChar(BrowserFile), False);
  Profile := 'pascal ' + string(IntToStr(GetCurrentProcessId)) + ' ' + AName;
  Options := KxDefaultOptions;
  Options.Profile := Profile;
  Browser := nil;
  Process := 0;
  Output := 0;
  try
    ATest();
  except
    on Error: Exception do
      Check(False, AName + ' raises nothing: ' + string(UTF8String(Error.Message)));
  end;
  Browser.Free;
  if Process <> 0 then
  begin
    TerminateProcess(Process, 1); // no more than what a failed test has left
    CloseHandle(Process);
  end;
  if Output <> 0 then
    CloseHandle(Output);
  if Failures = Before then
    WriteLn('ok ', AName)
  else
    WriteLn('not ok ', AName);
end;

begin
  Simulator := ParamStr(1);
  Root := ParamStr(2);
  Run('APlayGivesEverythingThatItLeft', APlayGivesEverythingThatItLeft);
  Run('ErrorsHaveCallResultNumberAndText', ErrorsHaveCallResultNumberAndText);
  Run('AfterATimeOutRequestsAreRefusedWithTheRemedy', AfterATimeOutRequestsAreRefusedWithTheRemedy);
  Run('AfterAnAnswerThatIsNotValidRequestsAreRefused', AfterAnAnswerThatIsNotValidRequestsAreRefused);
  Run('AStartWhoseAnswerIsAnErrorIsClosed', AStartWhoseAnswerIsAnErrorIsClosed);
  Run('AnExitThatIsNotConfirmedKeepsTheBrowser', AnExitThatIsNotConfirmedKeepsTheBrowser);
  Run('ALaunchedBrowserIsClosedWhenItIsFreed', ALaunchedBrowserIsClosedWhenItIsFreed);
  Run('StartsThatFail', StartsThatFail);
  Run('CallsOfSeveralThreadsWaitForOneAnother', CallsOfSeveralThreadsWaitForOneAnother);
  Run('WhatCannotBeMeantIsRefused', WhatCannotBeMeantIsRefused);
  Run('WhatCreateMakesOwnsNothing', WhatCreateMakesOwnsNothing);
  Run('AChromeOfARunnerHasItsPage', AChromeOfARunnerHasItsPage);
  WriteLn(Count, ' tests, ', Failures, ' failures');
  Halt(Ord(Failures > 0));
end.
