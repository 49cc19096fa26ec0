{ KXTCP64.dll for Free Pascal 3.2 and Delphi: this unit and the DLL, nothing else.

    Options := KxDefaultOptions;
    Options.Profile := 'work';
    Browser := TKxBrowser.Start(Options);
    try
      Browser.SetVariable('city', 'Oslo');
      for Extract in Browser.Play(Macro).Extracts do
        WriteLn(Extract);
    finally
      Browser.Free;
    end;

  A TKxBrowser has a context of the library and the browser of it, and ends both when it is freed. What goes wrong raises
  EKxError. kxtcp64.h tells what the calls do.

  string is UnicodeString here, in Free Pascal too. A time-out is in milliseconds, above zero, and is rounded up to whole
  seconds; INFINITE waits without a limit. It is for each single wait.

  Several threads may use one TKxBrowser: its calls wait for one another, and each blocks its thread. It must not be freed
  while another thread uses it. After a time-out, and after an answer that was not valid, further requests are refused: the
  library cannot tell a late answer from the next one. Free the browser and start another. }
unit kxtcp64;

{$IFDEF FPC}{$MODE DELPHIUNICODE}{$ENDIF}
{$IFNDEF WIN64}{$MESSAGE FATAL 'KXTCP64.dll is for programs on 64-bit Windows.'}{$ENDIF}

interface

uses
  SysUtils, Windows;

const
  KxLibrary = 'KXTCP64.dll';

// made from bindings/interface.json
const
  KX_OK = 0;
  KX_FAILED = -1;
  KX_BUFFER_TOO_SMALL = -2;
  KX_TIMEOUT = -3;
  KX_NO_CONTEXT = -5;
  KX_ERROR_NONE = 0;
  KX_ERROR_SUCCESS = 1;
  KX_ERROR_GENERAL = -1;
  KX_ERROR_TIMEOUT = -3;
  KX_ERROR_PROFILE_IN_USE = -4;
  KX_SCREENSHOT_BROWSER = 0;
  KX_SCREENSHOT_PAGE = 1;

function kx_ContextCreate: Integer; cdecl; external KxLibrary;
procedure kx_ContextDestroy(AContext: Integer); cdecl; external KxLibrary;
function kx_GetLastErrorNumber(AContext: Integer): Integer; cdecl; external KxLibrary;
function kx_GetLastErrorText(AContext: Integer; ABuffer: PAnsiChar; ASize: Integer): Integer; cdecl; external KxLibrary;
function kx_Init(AContext: Integer; ABrowser: PAnsiChar; AOptions: PAnsiChar; ABrowserPath: PAnsiChar; APort: Integer; AOpenNewBrowser: Integer; ATimeout: Integer): Integer; cdecl; external KxLibrary;
function kx_SetVar(AContext: Integer; AName: PAnsiChar; AValue: PAnsiChar): Integer; cdecl; external KxLibrary;
function kx_Play(AContext: Integer; AMacro: PAnsiChar; ATimeout: Integer): Integer; cdecl; external KxLibrary;
function kx_Display(AContext: Integer; AMessage: PAnsiChar; ATimeout: Integer): Integer; cdecl; external KxLibrary;
function kx_TakeBrowserScreenshot(AContext: Integer; APath: PAnsiChar; AType: Integer; ATimeout: Integer): Integer; cdecl; external KxLibrary;
function kx_GetLastExtract(AContext: Integer; ABuffer: PAnsiChar; ASize: Integer; AIndex: Integer): Integer; cdecl; external KxLibrary;
function kx_GetPerformance(AContext: Integer; ABuffer: PAnsiChar; ASize: Integer): Integer; cdecl; external KxLibrary;
function kx_GetLastPerformance(AContext: Integer; AIndex: Integer; AName: PAnsiChar; ANameSize: PInteger; AValue: PAnsiChar; AValueSize: PInteger): Integer; cdecl; external KxLibrary;
function kx_GetBrowserProcessId(AContext: Integer): Integer; cdecl; external KxLibrary;
function kx_Exit(AContext: Integer; ATimeout: Integer): Integer; cdecl; external KxLibrary;
function kxr_GetCommandLine(ABrowser: PAnsiChar; AOptions: PAnsiChar; ABuffer: PAnsiChar; ASize: Integer; APageText: PAnsiChar): Integer; cdecl; external KxLibrary;
function kxr_Init(AContext: Integer; ABrowser: PAnsiChar; AOptions: PAnsiChar; AOpenNewBrowser: Integer; ATimeout: Integer): Integer; cdecl; external KxLibrary;
function kxr_Exit(AContext: Integer; ATimeout: Integer): Integer; cdecl; external KxLibrary;
// end of what is made

type
  { Call is the function of kxtcp64.h. Result is what it gave: KX_FAILED when it was not called, and KX_OK when the browser
    answered with an error to a start, a message or a screenshot. Number and Text are the library's; Number is KX_ERROR_NONE
    when the arguments were wrong. }
  EKxError = class(Exception)
  private
    FCall, FText: string;
    FResult, FNumber: Integer;
  public
    constructor Create(const ACall: string; AResult, ANumber: Integer; const AText: string);
    property Call: string read FCall;
    property Result: Integer read FResult;
    property Number: Integer read FNumber;
    property Text: string read FText;
  end;

  TKxBrowserType = (kxFirefox, kxChrome);
  TKxScreenshotArea = (kxWholeBrowser, kxPage);

  { Made by KxDefaultOptions. An empty text stands for nothing given. }
  TKxStartOptions = record
    Browser: TKxBrowserType;
    Profile: string; // Firefox's, by its name; without it Firefox chooses one
    UserDataDir: string; // Chrome's; without it Chrome's own
    ProgramFile: string; // a relative path starts from the current folder; without it the usual place
    Profiler: Boolean; // plays leave profiler data
    OpenNewBrowser: Boolean; // the extension is asked for a new browser window
    AttachOnly: Boolean; // only a browser that is running already; none is launched
    Timeout: Cardinal; // 60 seconds; it also sets the number of attempts, see kx_Init
    ExitTimeout: Cardinal; // 10 seconds; of the exit when the browser is freed
  end;

  TKxPerformanceEntry = record
    Name, Value: string;
  end;

  { What a play left. One empty extract looks like none: Extracts is then empty. ProfilerData is empty unless the option
    Profiler asked for it. }
  TKxPlayResult = record
    Extracts: array of string;
    Performance: array of TKxPerformanceEntry;
    ProfilerData: string;
  end;

  TKxBrowser = class
  private
    FLock: TRTLCriticalSection;
    FContext: Integer;
    FRunner: Boolean;
    FStarted: Boolean;
    FExitSeconds: Integer;
    FOutOfStep: string; // why requests and answers no longer go together
    FOutOfStepNumber: Integer;
    procedure CreateContext;
    procedure CheckOpen(const ACall: string);
    procedure CheckInStep(const ACall: string);
    procedure Check(const ACall: string; AResult: Integer);
    procedure CheckStart(const ACall: string; AResult: Integer; const AReason: string);
    procedure DestroyContext;
    function CallExit(ASeconds: Integer): Integer;
    function ErrorText: string;
    function Extract(AIndex: Integer): UTF8String;
    function ReadBack: TKxPlayResult;
    function GetProcessId: Cardinal;
  public
    { Attaches to the running browser of that profile, or launches it. }
    constructor Start(const AOptions: TKxStartOptions);
    { Attaches to a browser that the host has started with RunnerArguments. Closing asks that browser to exit, and does not
      wait for its process. }
    constructor StartRunner(const AOptions: TKxStartOptions);
    class function NewInstance: TObject; override;
    { Closes the browser within ExitTimeout; a failure of that is in the library's log. }
    destructor Destroy; override;
    { The arguments, without the program, with which a host starts the browser's program itself. APage is Chrome's start
      page; without it one is made in the folder that TEMP names. }
    class function RunnerArguments(const AOptions: TKxStartOptions; const APage: string = ''): string;
    { A variable for the next play. }
    procedure SetVariable(const AName, AValue: string);
    { Plays a macro, and gives all that it left. }
    function Play(const AMacro: string; ATimeout: Cardinal = 60000): TKxPlayResult;
    { The same once more; after a play that has failed, what it had left by then. ProfilerData is that of the last answer,
      which may be another one than the play's. }
    function LastPlay: TKxPlayResult;
    { Shows a message to the user, in the browser. }
    procedure Show(const AMessage: string; ATimeout: Cardinal = 60000);
    { Has the browser save a picture of itself to a file, as the browser's process understands the path. }
    procedure Screenshot(const AFile: string; AArea: TKxScreenshotArea = kxPage; ATimeout: Cardinal = 60000);
    { Closes the browser, also one that was attached to. When this raises, the browser is still there. }
    procedure Exit(ATimeout: Cardinal = 10000);
    { Of the process that was launched; 0 for a browser that was running. }
    property ProcessId: Cardinal read GetProcessId;
  end;

{ Firefox, its own choice of a profile, and the time-outs that are noted above. }
function KxDefaultOptions: TKxStartOptions;

implementation

const
  Separator = '[EXTRACT]';

procedure Refuse(const ACall, AText: string; ANumber: Integer = KX_ERROR_NONE);
begin
  raise EKxError.Create(ACall, KX_FAILED, ANumber, AText);
end;

{ For functions that leave the error number and text alone: theirs would tell of another call. }
procedure RaiseFailing(const ACall: string; AResult: Integer);
begin
  raise EKxError.Create(ACall, AResult, KX_ERROR_NONE, 'the log tells more');
end;

{ The library would take a zero for the text's end. }
function Utf8(const ACall, AWhat, AText: string): UTF8String;
var
  Index: Integer;
begin
  Index := 1;
  while Index <= Length(AText) do
  begin
    case Ord(AText[Index]) of
      0: Refuse(ACall, AWhat + ' holds a zero character');
      $D800..$DBFF:
        begin
          Inc(Index);
          if (Index > Length(AText)) or (Ord(AText[Index]) < $DC00) or (Ord(AText[Index]) > $DFFF) then
            Refuse(ACall, AWhat + ' holds half of a surrogate pair');
        end;
      $DC00..$DFFF: Refuse(ACall, AWhat + ' holds half of a surrogate pair');
    end;
    Inc(Index);
  end;
  Result := UTF8Encode(AText);
end;

{ True for what spoils a request or an options string. }
function HasQuoteOrControl(const AText: string): Boolean;
var
  Letter: Char;
begin
  Result := False;
  for Letter in AText do
    Result := Result or (Letter = '"') or (Letter < ' ');
end;

function Seconds(const ACall: string; ATimeout: Cardinal): Integer;
begin
  if ATimeout = 0 then
    Refuse(ACall, 'a time-out is above zero; INFINITE is no limit');
  if ATimeout = INFINITE then
    Result := 0
  else
    Result := (Int64(ATimeout) + 999) div 1000;
end;

function OptionText(const ACall, AName, AValue: string): string;
begin
  if AValue = '' then
    System.Exit('');
  if HasQuoteOrControl(AValue) or (AValue[Length(AValue)] = '\') then
    Refuse(ACall, 'the value of ' + AName + ' ends in a backslash, or holds a double quote or a control character: ' + AValue);
  Result := ' ' + AName + '="' + AValue + '"';
end;

{ The options string; quotes let a value begin with a hyphen and hold blanks. }
function OptionsText(const ACall: string; const AOptions: TKxStartOptions; ARunner: Boolean): UTF8String;
var
  Text: string;
begin
  if (AOptions.Browser = kxFirefox) and (AOptions.UserDataDir <> '') then
    Refuse(ACall, 'UserDataDir is for Chrome; Firefox has a Profile');
  if (AOptions.Browser = kxChrome) and (AOptions.Profile <> '') then
    Refuse(ACall, 'Profile is for Firefox; Chrome has a UserDataDir');
  Text := '';
  if ARunner then
  begin
    if (AOptions.ProgramFile <> '') or AOptions.AttachOnly then
      Refuse(ACall, 'ProgramFile and AttachOnly mean nothing to a runner: its host starts the program');
    if (AOptions.Profile = '') and (AOptions.UserDataDir = '') then
      Refuse(ACall, 'a runner''s Firefox needs a Profile, its Chrome a UserDataDir');
    Text := '-runner';
  end;
  if AOptions.Profiler then
    Text := Text + ' -profiler';
  Text := Text + OptionText(ACall, '-fxProfile', AOptions.Profile);
  Text := Text + OptionText(ACall, '-crUserDataDir', AOptions.UserDataDir);
  Result := Utf8(ACall, 'an option', Text);
end;

function BrowserName(const AOptions: TKxStartOptions): PAnsiChar;
begin
  if AOptions.Browser = kxFirefox then
    Result := 'fx'
  else
    Result := 'cr';
end;

{ Without the zero at the end. }
function Decoded(const ABytes: UTF8String): string;
begin
  Result := string(ABytes);
end;

function KxDefaultOptions: TKxStartOptions;
begin
  Result.Browser := kxFirefox;
  Result.Profile := '';
  Result.UserDataDir := '';
  Result.ProgramFile := '';
  Result.Profiler := False;
  Result.OpenNewBrowser := False;
  Result.AttachOnly := False;
  Result.Timeout := 60000;
  Result.ExitTimeout := 10000;
end;

{ EKxError }

constructor EKxError.Create(const ACall: string; AResult, ANumber: Integer; const AText: string);
var
  Whole: string;
begin
  Whole := ACall + ' failed: result ' + string(IntToStr(AResult)) + ', error ' + string(IntToStr(ANumber)) + ': ' + AText;
  {$IFDEF FPC}
  // Free Pascal's exceptions hold bytes, here with the mark that they are UTF-8.
  inherited Create(UTF8Encode(Whole));
  {$ELSE}
  inherited Create(Whole);
  {$ENDIF}
  FCall := ACall;
  FResult := AResult;
  FNumber := ANumber;
  FText := AText;
end;

{ TKxBrowser }

{ Here, because every constructor comes after it: also TObject's, and one that raises and so goes through Destroy. Context 0
  would be another browser's. }
class function TKxBrowser.NewInstance: TObject;
begin
  Result := inherited NewInstance;
  TKxBrowser(Result).FContext := KX_NO_CONTEXT;
  InitializeCriticalSection(TKxBrowser(Result).FLock);
end;

procedure TKxBrowser.CreateContext;
var
  Context: Integer;
begin
  Context := kx_ContextCreate();
  if Context < 0 then
    raise EKxError.Create('kx_ContextCreate', Context, KX_ERROR_NONE, 'no memory for a context');
  FContext := Context;
end;

constructor TKxBrowser.Start(const AOptions: TKxStartOptions);
const
  Call = 'kx_Init';
var
  Options, ProgramText: UTF8String;
  Place: PAnsiChar;
  Wait, Status: Integer;
  Reason: string;
begin
  Options := OptionsText(Call, AOptions, False);
  if AOptions.AttachOnly and (AOptions.ProgramFile <> '') then
    Refuse(Call, 'AttachOnly launches no program, so ProgramFile means nothing with it');
  Place := nil;
  if AOptions.AttachOnly then
    Place := ''
  else if AOptions.ProgramFile <> '' then
  begin
    ProgramText := Utf8(Call, 'ProgramFile', string(ExpandFileName(AOptions.ProgramFile)));
    Place := PAnsiChar(ProgramText);
  end;
  Wait := Seconds(Call, AOptions.Timeout);
  FExitSeconds := Seconds(Call, AOptions.ExitTimeout);
  CreateContext;
  Status := kx_Init(FContext, BrowserName(AOptions), PAnsiChar(Options), Place, 0, Ord(AOptions.OpenNewBrowser), Wait);
  Reason := '';
  if AOptions.AttachOnly and (Status > KX_OK) then // the launch that had to fail was tried
    Reason := 'no running browser serves the extension''s pipe, and AttachOnly launches none';
  CheckStart(Call, Status, Reason);
end;

constructor TKxBrowser.StartRunner(const AOptions: TKxStartOptions);
const
  Call = 'kxr_Init';
var
  Options: UTF8String;
  Wait: Integer;
begin
  FRunner := True;
  Options := OptionsText(Call, AOptions, True);
  Wait := Seconds(Call, AOptions.Timeout);
  if Wait = 0 then
    Refuse(Call, 'a runner''s Timeout has an end, for it sets the number of attempts');
  FExitSeconds := Seconds(Call, AOptions.ExitTimeout);
  CreateContext;
  CheckStart(Call, kxr_Init(FContext, BrowserName(AOptions), PAnsiChar(Options), Ord(AOptions.OpenNewBrowser), Wait), '');
end;

destructor TKxBrowser.Destroy;
begin
  if FStarted and (FContext >= 0) then
    CallExit(FExitSeconds);
  DestroyContext;
  DeleteCriticalSection(FLock);
  inherited Destroy;
end;

class function TKxBrowser.RunnerArguments(const AOptions: TKxStartOptions; const APage: string): string;
const
  Call = 'kxr_GetCommandLine';
var
  Options, Page, Buffer: UTF8String;
  PagePlace: PAnsiChar;
  Size: Integer;
begin
  Options := OptionsText(Call, AOptions, True);
  PagePlace := nil;
  if APage <> '' then
  begin
    Page := Utf8(Call, 'APage', APage);
    PagePlace := PAnsiChar(Page);
  end;
  Size := kxr_GetCommandLine(BrowserName(AOptions), PAnsiChar(Options), nil, 0, PagePlace);
  if Size <= 1 then
    RaiseFailing(Call, Size);
  SetLength(Buffer, Size - 1); // a string has a place for the zero behind it
  Size := kxr_GetCommandLine(BrowserName(AOptions), PAnsiChar(Options), PAnsiChar(Buffer), Size, PagePlace);
  if Size < 0 then
    RaiseFailing(Call, Size);
  Result := Decoded(Buffer);
end;

procedure TKxBrowser.CheckOpen(const ACall: string);
begin
  if FContext >= 0 then
    System.Exit;
  if FStarted then
    raise EKxError.Create(ACall, KX_NO_CONTEXT, KX_ERROR_NONE, 'the browser was closed');
  raise EKxError.Create(ACall, KX_NO_CONTEXT, KX_ERROR_NONE, 'there is no browser: Start and StartRunner make one, Create does not');
end;

procedure TKxBrowser.CheckInStep(const ACall: string);
begin
  CheckOpen(ACall);
  if FOutOfStep <> '' then
    Refuse(ACall, FOutOfStep + '; close this browser and start another', FOutOfStepNumber);
end;

function TKxBrowser.ErrorText: string;
var
  Buffer: UTF8String;
  Size: Integer;
begin
  Result := '';
  Size := kx_GetLastErrorText(FContext, nil, 0);
  if Size <= 1 then
    System.Exit;
  SetLength(Buffer, Size - 1);
  if kx_GetLastErrorText(FContext, PAnsiChar(Buffer), Size) >= 0 then
    Result := Decoded(Buffer);
end;

{ Raises what a call and the browser's answer to it come to, unless both tell of success. }
procedure TKxBrowser.Check(const ACall: string; AResult: Integer);
var
  Number: Integer;
  Text: string;
begin
  Number := kx_GetLastErrorNumber(FContext);
  if (AResult = KX_OK) and (Number = KX_ERROR_SUCCESS) then
    System.Exit;
  Text := ErrorText;
  if (Number = KX_ERROR_TIMEOUT) and ((Text = 'Error while sending request') or (Text = 'Error while receiving response')) then
    FOutOfStep := 'an earlier request has timed out, and its late answer would count as the next one''s'
  else if (Number = KX_ERROR_GENERAL) and (Text = 'Error in response processing') then
    FOutOfStep := 'an earlier answer was not valid, and what is left of it would spoil the next one';
  FOutOfStepNumber := Number;
  raise EKxError.Create(ACall, AResult, Number, Text);
end;

{ The same for a start. One that was answered leaves a browser to be closed, any other leaves none. }
procedure TKxBrowser.CheckStart(const ACall: string; AResult: Integer; const AReason: string);
begin
  FStarted := AResult = KX_OK;
  if FStarted then
    Check(ACall, AResult)
  else if AReason <> '' then
    raise EKxError.Create(ACall, AResult, kx_GetLastErrorNumber(FContext), AReason)
  else
    raise EKxError.Create(ACall, AResult, kx_GetLastErrorNumber(FContext), ErrorText);
end;

{ Once: the library gives the number of a destroyed context to the next one. }
procedure TKxBrowser.DestroyContext;
begin
  if FContext >= 0 then
    kx_ContextDestroy(FContext);
  FContext := KX_NO_CONTEXT;
end;

function TKxBrowser.CallExit(ASeconds: Integer): Integer;
begin
  if FRunner then
    Result := kxr_Exit(FContext, ASeconds)
  else
    Result := kx_Exit(FContext, ASeconds);
end;

procedure TKxBrowser.SetVariable(const AName, AValue: string);
const
  Call = 'kx_SetVar';
var
  Name, Value: UTF8String;
  Status: Integer;
begin
  if HasQuoteOrControl(AName) or (Pos('\', AName) > 0) then
    Refuse(Call, 'the variable''s name holds a double quote, a backslash or a control character');
  Name := Utf8(Call, 'the variable''s name', AName);
  Value := Utf8(Call, 'the variable''s value', AValue);
  EnterCriticalSection(FLock);
  try
    CheckInStep(Call);
    Status := kx_SetVar(FContext, PAnsiChar(Name), PAnsiChar(Value));
    if Status <> KX_OK then
      RaiseFailing(Call, Status);
  finally
    LeaveCriticalSection(FLock);
  end;
end;

function TKxBrowser.Play(const AMacro: string; ATimeout: Cardinal): TKxPlayResult;
const
  Call = 'kx_Play';
var
  Macro: UTF8String;
  Wait: Integer;
begin
  Macro := Utf8(Call, 'the macro', AMacro);
  Wait := Seconds(Call, ATimeout);
  EnterCriticalSection(FLock);
  try
    CheckInStep(Call);
    Check(Call, kx_Play(FContext, PAnsiChar(Macro), Wait));
    Result := ReadBack;
  finally
    LeaveCriticalSection(FLock);
  end;
end;

function TKxBrowser.LastPlay: TKxPlayResult;
begin
  EnterCriticalSection(FLock);
  try
    CheckOpen('kx_GetLastExtract');
    Result := ReadBack;
  finally
    LeaveCriticalSection(FLock);
  end;
end;

procedure TKxBrowser.Show(const AMessage: string; ATimeout: Cardinal);
const
  Call = 'kx_Display';
var
  Text: UTF8String;
  Wait: Integer;
begin
  Text := Utf8(Call, 'the message', AMessage);
  Wait := Seconds(Call, ATimeout);
  EnterCriticalSection(FLock);
  try
    CheckInStep(Call);
    Check(Call, kx_Display(FContext, PAnsiChar(Text), Wait));
  finally
    LeaveCriticalSection(FLock);
  end;
end;

procedure TKxBrowser.Screenshot(const AFile: string; AArea: TKxScreenshotArea; ATimeout: Cardinal);
const
  Call = 'kx_TakeBrowserScreenshot';
  Kinds: array[TKxScreenshotArea] of Integer = (KX_SCREENSHOT_BROWSER, KX_SCREENSHOT_PAGE);
var
  Path: UTF8String;
  Wait: Integer;
begin
  Path := Utf8(Call, 'the path', AFile);
  Wait := Seconds(Call, ATimeout);
  EnterCriticalSection(FLock);
  try
    CheckInStep(Call);
    Check(Call, kx_TakeBrowserScreenshot(FContext, PAnsiChar(Path), Kinds[AArea], Wait));
  finally
    LeaveCriticalSection(FLock);
  end;
end;

procedure TKxBrowser.Exit(ATimeout: Cardinal);
var
  Wait, Status: Integer;
  Call: string;
begin
  Call := 'kx_Exit';
  if FRunner then
    Call := 'kxr_Exit';
  Wait := Seconds(Call, ATimeout);
  EnterCriticalSection(FLock);
  try
    if FContext < 0 then
      System.Exit;
    Status := CallExit(Wait);
    if Status <> KX_OK then
      raise EKxError.Create(Call, Status, kx_GetLastErrorNumber(FContext), ErrorText);
    DestroyContext;
  finally
    LeaveCriticalSection(FLock);
  end;
end;

function TKxBrowser.GetProcessId: Cardinal;
begin
  EnterCriticalSection(FLock);
  try
    CheckOpen('kx_GetBrowserProcessId');
    Result := Cardinal(kx_GetBrowserProcessId(FContext));
  finally
    LeaveCriticalSection(FLock);
  end;
end;

{ Asks for the size, which counts the zero at the end, then for the text. An empty text has size 0. }
function TKxBrowser.Extract(AIndex: Integer): UTF8String;
const
  Call = 'kx_GetLastExtract';
var
  Size: Integer;
begin
  Result := '';
  Size := kx_GetLastExtract(FContext, nil, 0, AIndex);
  if Size < 0 then
    RaiseFailing(Call, Size);
  if Size <= 1 then
    System.Exit;
  SetLength(Result, Size - 1);
  Size := kx_GetLastExtract(FContext, PAnsiChar(Result), Size, AIndex);
  if Size < 0 then
    RaiseFailing(Call, Size);
end;

function TKxBrowser.ReadBack: TKxPlayResult;
var
  Whole, Sum, Count, Size, ValueSize, Status: Integer;
  Text: UTF8String;
  Name, Value: array of AnsiChar;
begin
  Result.Extracts := nil;
  Result.Performance := nil;
  // An empty extract has the size that one beyond the last has. The size of all, joined, tells the end.
  Whole := kx_GetLastExtract(FContext, nil, 0, 0);
  if Whole < 0 then
    RaiseFailing('kx_GetLastExtract', Whole);
  Sum := -Length(Separator);
  Count := 0;
  while (Whole > 0) and (Sum + 1 < Whole) do
  begin
    Inc(Count);
    Text := Extract(Count);
    SetLength(Result.Extracts, Count);
    Result.Extracts[Count - 1] := Decoded(Text);
    Inc(Sum, Length(Text) + Length(Separator));
  end;

  Count := 0;
  while kx_GetLastPerformance(FContext, Count + 1, nil, @Size, nil, @ValueSize) = KX_OK do
  begin
    Inc(Count);
    // Not strings: an empty one has no place of its own for the zero.
    SetLength(Name, Size);
    SetLength(Value, ValueSize);
    Status := kx_GetLastPerformance(FContext, Count, @Name[0], @Size, @Value[0], @ValueSize);
    if Status <> KX_OK then
      RaiseFailing('kx_GetLastPerformance', Status);
    SetLength(Result.Performance, Count);
    SetString(Text, PAnsiChar(@Name[0]), Size - 1);
    Result.Performance[Count - 1].Name := Decoded(Text);
    SetString(Text, PAnsiChar(@Value[0]), ValueSize - 1);
    Result.Performance[Count - 1].Value := Decoded(Text);
  end;

  Result.ProfilerData := '';
  Size := kx_GetPerformance(FContext, nil, 0);
  if Size < 0 then
    RaiseFailing('kx_GetPerformance', Size);
  if Size > 1 then
  begin
    SetLength(Text, Size - 1);
    Size := kx_GetPerformance(FContext, PAnsiChar(Text), Size);
    if Size < 0 then
      RaiseFailing('kx_GetPerformance', Size);
    Result.ProfilerData := Decoded(Text);
  end;
end;

end.
