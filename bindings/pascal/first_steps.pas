{ Starts Firefox with the profile "work", plays a macro, prints its extracts, and closes Firefox.

      first_steps BROWSER MACRO-TEXT }
program first_steps;

{$IFDEF FPC}{$MODE DELPHIUNICODE}{$ENDIF}
{$APPTYPE CONSOLE}

uses
  SysUtils, kxtcp64;

var
  Options: TKxStartOptions;
  Browser: TKxBrowser;
  Extract: string;
begin
  try
    Options := KxDefaultOptions;
    Options.Profile := 'work';
    Options.ProgramFile := ParamStr(1);
    Browser := TKxBrowser.Start(Options);
    try
      Browser.SetVariable('city', 'Oslo');
      for Extract in Browser.Play(ParamStr(2)).Extracts do
        WriteLn(Extract);
    finally
      Browser.Free;
    end;
  except
    on Error: EKxError do
    begin
      WriteLn(ErrOutput, Error.Message);
      Halt(1);
    end;
  end;
end.
