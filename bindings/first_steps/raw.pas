{ Starts Firefox with the profile "work", plays a macro, prints its first extract, and closes Firefox: without a wrapper.

      raw BROWSER MACRO-TEXT }
program raw;

{$MODE DELPHIUNICODE}
{$APPTYPE CONSOLE}

uses
  SysUtils;

const
  KxLibrary = 'KXTCP64.dll';

function kx_ContextCreate: Integer; cdecl; external KxLibrary;
procedure kx_ContextDestroy(Context: Integer); cdecl; external KxLibrary;
function kx_Init(Context: Integer; Browser, Options, Path: PAnsiChar; Port, OpenNewBrowser, Timeout: Integer): Integer; cdecl; external KxLibrary;
function kx_SetVar(Context: Integer; Name, Value: PAnsiChar): Integer; cdecl; external KxLibrary;
function kx_Play(Context: Integer; Macro: PAnsiChar; Timeout: Integer): Integer; cdecl; external KxLibrary;
function kx_GetLastExtract(Context: Integer; Buffer: PAnsiChar; Size, Index: Integer): Integer; cdecl; external KxLibrary;
function kx_GetLastErrorNumber(Context: Integer): Integer; cdecl; external KxLibrary;
function kx_GetLastErrorText(Context: Integer; Buffer: PAnsiChar; Size: Integer): Integer; cdecl; external KxLibrary;
function kx_Exit(Context, Timeout: Integer): Integer; cdecl; external KxLibrary;

var
  Context, Started: Integer;

function ErrorText: UTF8String;
var
  Size: Integer;
begin
  Result := '';
  Size := kx_GetLastErrorText(Context, nil, 0);
  if Size > 1 then
  begin
    SetLength(Result, Size - 1);
    kx_GetLastErrorText(Context, PAnsiChar(Result), Size);
  end;
end;

procedure Check(const Call: string; CallResult, Number: Integer);
begin
  if (CallResult <> 0) or (Number <> 1) then
    raise Exception.CreateFmt('%s failed: result %d, error %d: %s',
      [Call, CallResult, kx_GetLastErrorNumber(Context), UTF8ToString(ErrorText)]);
end;

function FirstExtract: UTF8String;
var
  Size: Integer;
begin
  Result := '';
  Size := kx_GetLastExtract(Context, nil, 0, 1);
  if Size > 1 then
  begin
    SetLength(Result, Size - 1);
    kx_GetLastExtract(Context, PAnsiChar(Result), Size, 1);
  end;
end;

begin
  Context := kx_ContextCreate;
  Started := -1;
  try
    try
      Started := kx_Init(Context, 'fx', '-fxProfile "work"', PAnsiChar(UTF8Encode(ParamStr(1))), 0, 0, 60);
      Check('kx_Init', Started, kx_GetLastErrorNumber(Context));
      Check('kx_SetVar', kx_SetVar(Context, 'city', 'Oslo'), 1);
      Check('kx_Play', kx_Play(Context, PAnsiChar(UTF8Encode(ParamStr(2))), 60), 1);
      WriteLn('the first extract: ', UTF8ToString(FirstExtract));
    finally
      if Started = 0 then
        kx_Exit(Context, 10);
      kx_ContextDestroy(Context);
    end;
  except
    on Error: Exception do
    begin
      WriteLn(ErrOutput, Error.Message);
      Halt(1);
    end;
  end;
end.
