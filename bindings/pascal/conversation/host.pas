{ Has a conversation with the unit for Free Pascal: bindings/conversation/README.md tells how.

      host STEPS LIBRARY

  The library is the one beside the program: the unit names it for Windows' loader. }
program host;

{$MODE DELPHIUNICODE}
{$APPTYPE CONSOLE}

uses
  SysUtils, Classes, kxtcp64;

type
  TFields = array of string;

var
  Browser: TKxBrowser;

function Json(const AText: string): string;
var
  Letter: Char;
begin
  Result := '"';
  for Letter in AText do
    if (Letter = '"') or (Letter = '\') then
      Result := Result + '\' + Letter
    else if Letter < ' ' then
      Result := Result + '\u' + string(IntToHex(Ord(Letter), 4))
    else
      Result := Result + Letter;
  Result := Result + '"';
end;

{ Long texts are written without being put together letter by letter. }
function LongJson(const AText: string): string;
var
  Letter: Char;
begin
  for Letter in AText do
    if (Letter = '"') or (Letter = '\') or (Letter < ' ') then
      System.Exit(Json(AText));
  Result := '"' + AText + '"';
end;

function Played(const ALeft: TKxPlayResult): string;
var
  Index: Integer;
begin
  Result := '{"extracts": [';
  for Index := 0 to High(ALeft.Extracts) do
  begin
    if Index > 0 then
      Result := Result + ', ';
    Result := Result + LongJson(ALeft.Extracts[Index]);
  end;
  Result := Result + '], "performance": [';
  for Index := 0 to High(ALeft.Performance) do
  begin
    if Index > 0 then
      Result := Result + ', ';
    Result := Result + '[' + Json(ALeft.Performance[Index].Name) + ', ' + Json(ALeft.Performance[Index].Value) + ']';
  end;
  Result := Result + '], "profilerData": ' + Json(ALeft.ProfilerData) + '}';
end;

function Field(const AText: string): string;
var
  Index: Integer;
begin
  Result := '';
  Index := 1;
  while Index <= Length(AText) do
  begin
    if AText[Index] = '\' then
    begin
      Inc(Index);
      case AText[Index] of
        't': Result := Result + #9;
        'n': Result := Result + #10;
        'r': Result := Result + #13;
      else
        Result := Result + AText[Index];
      end;
    end
    else
      Result := Result + AText[Index];
    Inc(Index);
  end;
end;

function Take(const AFields: TFields): string;
var
  Options: TKxStartOptions;
  Time: Cardinal;
begin
  Result := '{}';
  Time := 0;
  if AFields[0] <> 'variable' then
    Time := Cardinal(StrToInt(AnsiString(AFields[High(AFields)]))) * 1000;
  if AFields[0] = 'start' then
  begin
    FreeAndNil(Browser);
    Options := KxDefaultOptions;
    Options.ProgramFile := AFields[1];
    Options.Profile := AFields[2];
    Options.Timeout := Time;
    Options.Profiler := True;
    Options.OpenNewBrowser := True;
    Browser := TKxBrowser.Start(Options);
    if Browser.ProcessId <> 0 then
      Result := '{"launched": true}'
    else
      Result := '{"launched": false}';
  end
  else if AFields[0] = 'variable' then
    Browser.SetVariable(AFields[1], AFields[2])
  else if AFields[0] = 'play' then
    Result := Played(Browser.Play(AFields[1], Time))
  else if AFields[0] = 'show' then
    Browser.Show(AFields[1], Time)
  else if (AFields[0] = 'screenshot') and (AFields[1] = 'page') then
    Browser.Screenshot(AFields[2], kxPage, Time)
  else if AFields[0] = 'screenshot' then
    Browser.Screenshot(AFields[2], kxWholeBrowser, Time)
  else if AFields[0] = 'exit' then
    Browser.Exit(Time)
  else
    raise Exception.Create('there is no such step');
end;

function WhatWasLeft: string;
begin
  try
    Result := ', "left": ' + Played(Browser.LastPlay);
  except
    on EKxError do
      Result := '';
  end;
end;

function Done(const AFields: TFields): string;
begin
  try
    Result := '"gives": ' + Take(AFields);
  except
    on Error: EKxError do
    begin
      Result := '"fails": {"call": ' + Json(Error.Call) + ', "result": ' + string(IntToStr(Error.Result)) + ', "number": ' +
        string(IntToStr(Error.Number)) + ', "text": ' + Json(Error.Text) + '}';
      if AFields[0] = 'play' then
        Result := Result + WhatWasLeft;
    end;
  end;
end;

procedure Print(const ALine: string);
var
  Bytes: RawByteString;
begin
  Bytes := UTF8Encode(ALine + #10);
  FileWrite(StdOutputHandle, Bytes[1], Length(Bytes));
end;

function Parts(const ALine: string): TFields;
var
  Rest: string;
  Place: Integer;
begin
  Result := nil;
  Rest := ALine + #9;
  while Rest <> '' do
  begin
    Place := Pos(#9, Rest);
    SetLength(Result, Length(Result) + 1);
    Result[High(Result)] := Field(Copy(Rest, 1, Place - 1));
    Delete(Rest, 1, Place);
  end;
end;

var
  Lines: TStringList;
  Number: Integer;
begin
  Lines := TStringList.Create;
  try
    Lines.LoadFromFile(AnsiString(ParamStr(1)));
    for Number := 1 to Lines.Count do
      Print('{"step": ' + string(IntToStr(Number)) + ', ' + Done(Parts(UTF8Decode(Lines[Number - 1]))) + '}');
  finally
    Lines.Free;
    Browser.Free;
  end;
end.
