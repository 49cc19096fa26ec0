; Starts Firefox with the profile "work", plays a macro, prints its extracts, and closes Firefox.
;
;     AutoIt3_x64.exe first_steps.au3 BROWSER MACRO-TEXT
#AutoIt3Wrapper_UseX64=y
#include "KXTCP64.au3"

Local $hBrowser = _Kx_Start("fx", "work", $CmdLine[1])
If @error Then
    ConsoleWriteError(_Kx_ErrorText() & @CRLF)
    Exit 1
EndIf
_Kx_SetVariable($hBrowser, "city", "Oslo")
Local $aExtracts = _Kx_Play($hBrowser, $CmdLine[2])
Local $iFailed = @error
If $iFailed Then ConsoleWriteError(_Kx_ErrorText() & @CRLF)
For $sExtract In $aExtracts
    ConsoleWrite($sExtract & @CRLF)
Next
_Kx_Exit($hBrowser)
Exit $iFailed
