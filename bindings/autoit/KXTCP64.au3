#include-once
; KXTCP64.dll for AutoIt: this file and the DLL, nothing else. AutoIt has to run as a 64-bit program:
;
;     #AutoIt3Wrapper_UseX64=y
;     #include "KXTCP64.au3"
;
;     Local $hBrowser = _Kx_Start("fx", "work")
;     If @error Then Exit MsgBox(16, "KXTCP64", _Kx_ErrorText())
;     _Kx_SetVariable($hBrowser, "city", "Oslo")
;     Local $aExtracts = _Kx_Play($hBrowser, $sMacro)
;     For $sExtract In $aExtracts
;         ConsoleWrite($sExtract & @CRLF)
;     Next
;     _Kx_Exit($hBrowser)
;
; A function that fails sets @error to 1 and @extended to the error number. _Kx_ErrorCall(), _Kx_ErrorResult(),
; _Kx_ErrorNumber() and _Kx_ErrorText() tell of the last failure. A time-out is in seconds, above zero; Default is 60, and
; Null waits without a limit. Browsers that are still open are closed when the script ends.
;
; The texts of AutoIt are sent and received as UTF-8. After a time-out, and after an answer that was not valid, further
; requests are refused: the library cannot tell a late answer from the next one. Exit the browser and start another.

; made from bindings/interface.json
Global Const $KX_OK = 0
Global Const $KX_FAILED = -1
Global Const $KX_BUFFER_TOO_SMALL = -2
Global Const $KX_TIMEOUT = -3
Global Const $KX_NO_CONTEXT = -5
Global Const $KX_ERROR_NONE = 0
Global Const $KX_ERROR_SUCCESS = 1
Global Const $KX_ERROR_GENERAL = -1
Global Const $KX_ERROR_TIMEOUT = -3
Global Const $KX_ERROR_PROFILE_IN_USE = -4
Global Const $KX_SCREENSHOT_BROWSER = 0
Global Const $KX_SCREENSHOT_PAGE = 1

Func __Dll_kx_ContextCreate()
    Local $aCall = DllCall($__hKxLibrary, "int:cdecl", "kx_ContextCreate")
    If @error Then Return SetError(@error, 0, $KX_FAILED)
    Return $aCall[0]
EndFunc

Func __Dll_kx_ContextDestroy($context)
    Local $aCall = DllCall($__hKxLibrary, "none:cdecl", "kx_ContextDestroy", "int", $context)
    If @error Then Return SetError(@error, 0, $KX_FAILED)
    Return $aCall[0]
EndFunc

Func __Dll_kx_GetLastErrorNumber($context)
    Local $aCall = DllCall($__hKxLibrary, "int:cdecl", "kx_GetLastErrorNumber", "int", $context)
    If @error Then Return SetError(@error, 0, $KX_FAILED)
    Return $aCall[0]
EndFunc

Func __Dll_kx_GetLastErrorText($context, $buffer, $size)
    Local $aCall = DllCall($__hKxLibrary, "int:cdecl", "kx_GetLastErrorText", "int", $context, "ptr", $buffer, "int", $size)
    If @error Then Return SetError(@error, 0, $KX_FAILED)
    Return $aCall[0]
EndFunc

Func __Dll_kx_Init($context, $browser, $options, $browserPath, $port, $openNewBrowser, $timeout)
    Local $aCall = DllCall($__hKxLibrary, "int:cdecl", "kx_Init", "int", $context, "ptr", $browser, "ptr", $options, "ptr", $browserPath, "int", $port, "int", $openNewBrowser, "int", $timeout)
    If @error Then Return SetError(@error, 0, $KX_FAILED)
    Return $aCall[0]
EndFunc

Func __Dll_kx_SetVar($context, $name, $value)
    Local $aCall = DllCall($__hKxLibrary, "int:cdecl", "kx_SetVar", "int", $context, "ptr", $name, "ptr", $value)
    If @error Then Return SetError(@error, 0, $KX_FAILED)
    Return $aCall[0]
EndFunc

Func __Dll_kx_Play($context, $macro, $timeout)
    Local $aCall = DllCall($__hKxLibrary, "int:cdecl", "kx_Play", "int", $context, "ptr", $macro, "int", $timeout)
    If @error Then Return SetError(@error, 0, $KX_FAILED)
    Return $aCall[0]
EndFunc

Func __Dll_kx_Display($context, $message, $timeout)
    Local $aCall = DllCall($__hKxLibrary, "int:cdecl", "kx_Display", "int", $context, "ptr", $message, "int", $timeout)
    If @error Then Return SetError(@error, 0, $KX_FAILED)
    Return $aCall[0]
EndFunc

Func __Dll_kx_TakeBrowserScreenshot($context, $path, $type, $timeout)
    Local $aCall = DllCall($__hKxLibrary, "int:cdecl", "kx_TakeBrowserScreenshot", "int", $context, "ptr", $path, "int", $type, "int", $timeout)
    If @error Then Return SetError(@error, 0, $KX_FAILED)
    Return $aCall[0]
EndFunc

Func __Dll_kx_GetLastExtract($context, $buffer, $size, $index)
    Local $aCall = DllCall($__hKxLibrary, "int:cdecl", "kx_GetLastExtract", "int", $context, "ptr", $buffer, "int", $size, "int", $index)
    If @error Then Return SetError(@error, 0, $KX_FAILED)
    Return $aCall[0]
EndFunc

Func __Dll_kx_GetPerformance($context, $buffer, $size)
    Local $aCall = DllCall($__hKxLibrary, "int:cdecl", "kx_GetPerformance", "int", $context, "ptr", $buffer, "int", $size)
    If @error Then Return SetError(@error, 0, $KX_FAILED)
    Return $aCall[0]
EndFunc

Func __Dll_kx_GetLastPerformance($context, $index, $name, $nameSize, $value, $valueSize)
    Local $aCall = DllCall($__hKxLibrary, "int:cdecl", "kx_GetLastPerformance", "int", $context, "int", $index, "ptr", $name, "ptr", $nameSize, "ptr", $value, "ptr", $valueSize)
    If @error Then Return SetError(@error, 0, $KX_FAILED)
    Return $aCall[0]
EndFunc

Func __Dll_kx_GetBrowserProcessId($context)
    Local $aCall = DllCall($__hKxLibrary, "int:cdecl", "kx_GetBrowserProcessId", "int", $context)
    If @error Then Return SetError(@error, 0, $KX_FAILED)
    Return $aCall[0]
EndFunc

Func __Dll_kx_Exit($context, $timeout)
    Local $aCall = DllCall($__hKxLibrary, "int:cdecl", "kx_Exit", "int", $context, "int", $timeout)
    If @error Then Return SetError(@error, 0, $KX_FAILED)
    Return $aCall[0]
EndFunc

Func __Dll_kxr_GetCommandLine($browser, $options, $buffer, $size, $pageText)
    Local $aCall = DllCall($__hKxLibrary, "int:cdecl", "kxr_GetCommandLine", "ptr", $browser, "ptr", $options, "ptr", $buffer, "int", $size, "ptr", $pageText)
    If @error Then Return SetError(@error, 0, $KX_FAILED)
    Return $aCall[0]
EndFunc

Func __Dll_kxr_Init($context, $browser, $options, $openNewBrowser, $timeout)
    Local $aCall = DllCall($__hKxLibrary, "int:cdecl", "kxr_Init", "int", $context, "ptr", $browser, "ptr", $options, "int", $openNewBrowser, "int", $timeout)
    If @error Then Return SetError(@error, 0, $KX_FAILED)
    Return $aCall[0]
EndFunc

Func __Dll_kxr_Exit($context, $timeout)
    Local $aCall = DllCall($__hKxLibrary, "int:cdecl", "kxr_Exit", "int", $context, "int", $timeout)
    If @error Then Return SetError(@error, 0, $KX_FAILED)
    Return $aCall[0]
EndFunc
; end of what is made

Global $__hKxLibrary = -1
Global $__aKxError[4] = ["", 0, 0, ""]
; One row for each context: 1 while it has a browser, why requests are refused, the error number of that.
Global $__aKxBrowsers[1][3] = [[0, "", 0]]

; Opens the DLL. Without this call it is searched beside the script, then where Windows searches.
Func _Kx_Open($sFile = "KXTCP64.dll")
    If $__hKxLibrary <> -1 Then Return True
    If Not @AutoItX64 Then Return __Kx_Fail("_Kx_Open", $KX_FAILED, $KX_ERROR_NONE, "KXTCP64.dll is for 64-bit programs: run AutoIt3_x64.exe")
    If FileExists(@ScriptDir & "\" & $sFile) Then $sFile = @ScriptDir & "\" & $sFile
    $__hKxLibrary = DllOpen($sFile)
    If $__hKxLibrary = -1 Then Return __Kx_Fail("_Kx_Open", $KX_FAILED, $KX_ERROR_NONE, $sFile & " cannot be loaded")
    OnAutoItExitRegister("__Kx_ExitAll")
    Return True
EndFunc   ;==>_Kx_Open

Func _Kx_ErrorCall()
    Return $__aKxError[0]
EndFunc   ;==>_Kx_ErrorCall

Func _Kx_ErrorResult()
    Return $__aKxError[1]
EndFunc   ;==>_Kx_ErrorResult

Func _Kx_ErrorNumber()
    Return $__aKxError[2]
EndFunc   ;==>_Kx_ErrorNumber

Func _Kx_ErrorText()
    Return $__aKxError[3]
EndFunc   ;==>_Kx_ErrorText

; Attaches to the running browser of that profile, or launches it. Gives what the other functions take.
;   $sBrowser   "fx" for Firefox, "cr" for Chrome
;   $sProfile   Firefox's profile, or Chrome's user data directory; without it the browser's own
;   $sProgram   the browser's program, as a whole path; without it the usual place. An empty text only attaches to a
;               browser that is running
Func _Kx_Start($sBrowser = "fx", $sProfile = "", $sProgram = Default, $bProfiler = False, $bOpenNewBrowser = False, $iTimeout = Default)
    If Not _Kx_Open() Then Return SetError(1, @extended, -1)
    If $sBrowser <> "fx" And $sBrowser <> "cr" Then
        __Kx_Fail("kx_Init", $KX_FAILED, $KX_ERROR_NONE, 'the browser is "fx" for Firefox or "cr" for Chrome')
        Return SetError(1, 0, -1)
    EndIf
    Local $sOptions = $bProfiler ? "-profiler" : ""
    If $sProfile <> "" Then
        If StringRegExp($sProfile, '["\x00-\x1f]|\\$') Then
            __Kx_Fail("kx_Init", $KX_FAILED, $KX_ERROR_NONE, "the profile ends in a backslash, or holds a double quote or a control character")
            Return SetError(1, 0, -1)
        EndIf
        $sOptions &= ($sBrowser = "fx" ? ' -fxProfile="' : ' -crUserDataDir="') & $sProfile & '"'
    EndIf
    Local $iSeconds = __Kx_Seconds("kx_Init", $iTimeout, 60)
    If @error Then Return SetError(1, 0, -1)
    Local $iContext = __Dll_kx_ContextCreate()
    If $iContext < 0 Then
        __Kx_Fail("kx_ContextCreate", $iContext, $KX_ERROR_NONE, "no memory for a context")
        Return SetError(1, 0, -1)
    EndIf
    If $iContext >= UBound($__aKxBrowsers) Then ReDim $__aKxBrowsers[$iContext + 1][3]
    $__aKxBrowsers[$iContext][0] = 0
    $__aKxBrowsers[$iContext][1] = ""
    $__aKxBrowsers[$iContext][2] = 0
    ; The structures live until the function ends; a null path stands for the usual place.
    Local $tBrowser = __Kx_Utf8(StringLower($sBrowser)), $tOptions = __Kx_Utf8($sOptions), $tProgram = 0, $pProgram = 0
    If Not IsKeyword($sProgram) Then
        $tProgram = __Kx_Utf8($sProgram)
        $pProgram = DllStructGetPtr($tProgram)
    EndIf
    Local $iResult = __Dll_kx_Init($iContext, DllStructGetPtr($tBrowser), DllStructGetPtr($tOptions), $pProgram, 0, $bOpenNewBrowser ? 1 : 0, $iSeconds)
    If $iResult = $KX_OK Then $__aKxBrowsers[$iContext][0] = 1
    If __Kx_Check("kx_Init", $iContext, $iResult) Then Return $iContext
    ; An answer that tells of an error leaves a browser to be closed.
    Local $iNumber = $__aKxError[2]
    If $iResult = $KX_OK Then __Dll_kx_Exit($iContext, 10)
    __Kx_Forget($iContext)
    Return SetError(1, $iNumber, -1)
EndFunc   ;==>_Kx_Start

; Sets a variable for the next play.
Func _Kx_SetVariable($hBrowser, $sName, $sValue)
    If Not __Kx_InStep("kx_SetVar", $hBrowser) Then Return SetError(1, @extended, False)
    If StringRegExp($sName, '["\\\x00-\x1f]') Then
        Return __Kx_Fail("kx_SetVar", $KX_FAILED, $KX_ERROR_NONE, "the variable's name holds a double quote, a backslash or a control character")
    EndIf
    If Not __Kx_HasNoZero("kx_SetVar", $sValue) Then Return SetError(1, 0, False)
    Local $tName = __Kx_Utf8($sName), $tValue = __Kx_Utf8($sValue)
    Local $iResult = __Dll_kx_SetVar($hBrowser, DllStructGetPtr($tName), DllStructGetPtr($tValue))
    If $iResult <> $KX_OK Then Return __Kx_Fail("kx_SetVar", $iResult, $KX_ERROR_NONE, "the log tells more")
    Return True
EndFunc   ;==>_Kx_SetVariable

; Plays a macro. Gives an array of its extracts, empty ones included; a play without extracts gives an array without
; elements. One empty extract looks like none.
Func _Kx_Play($hBrowser, $sMacro, $iTimeout = Default)
    Local $aNone[0]
    If Not __Kx_InStep("kx_Play", $hBrowser) Then Return SetError(1, @extended, $aNone)
    If Not __Kx_HasNoZero("kx_Play", $sMacro) Then Return SetError(1, 0, $aNone)
    Local $iSeconds = __Kx_Seconds("kx_Play", $iTimeout, 60)
    If @error Then Return SetError(1, 0, $aNone)
    Local $tMacro = __Kx_Utf8($sMacro)
    If Not __Kx_Check("kx_Play", $hBrowser, __Dll_kx_Play($hBrowser, DllStructGetPtr($tMacro), $iSeconds)) Then
        Return SetError(1, @extended, $aNone)
    EndIf
    Return _Kx_Extracts($hBrowser)
EndFunc   ;==>_Kx_Play

; The extracts of the last play; after one that has failed, what it had left by then.
Func _Kx_Extracts($hBrowser)
    Local $aExtracts[0]
    If Not __Kx_IsOpen("kx_GetLastExtract", $hBrowser) Then Return SetError(1, 0, $aExtracts)
    ; An empty extract has the size that one beyond the last has. The size of all, joined, tells the end.
    Local $iWhole = __Dll_kx_GetLastExtract($hBrowser, 0, 0, 0), $iLength = 0, $iSize, $iCount = 0, $tBuffer
    While $iWhole > 0 And ($iCount = 0 Or $iLength + 1 < $iWhole)
        $iCount += 1
        ReDim $aExtracts[$iCount]
        $iSize = __Dll_kx_GetLastExtract($hBrowser, 0, 0, $iCount)
        If $iSize > 1 Then
            $tBuffer = DllStructCreate("byte[" & $iSize & "]")
            __Dll_kx_GetLastExtract($hBrowser, DllStructGetPtr($tBuffer), $iSize, $iCount)
            $aExtracts[$iCount - 1] = __Kx_Text($tBuffer, $iSize)
            $iLength += $iSize - 1
        Else
            $aExtracts[$iCount - 1] = ""
        EndIf
        If $iCount > 1 Then $iLength += StringLen("[EXTRACT]")
    WEnd
    Return $aExtracts
EndFunc   ;==>_Kx_Extracts

; The performance entries of the last play: an array with a row for each, its name and its value.
Func _Kx_Performance($hBrowser)
    Local $aEntries[0][2]
    If Not __Kx_IsOpen("kx_GetLastPerformance", $hBrowser) Then Return SetError(1, 0, $aEntries)
    Local $tSizes = DllStructCreate("int name;int value"), $tName, $tValue, $iCount = 0
    Local $pNameSize = DllStructGetPtr($tSizes, "name"), $pValueSize = DllStructGetPtr($tSizes, "value")
    While __Dll_kx_GetLastPerformance($hBrowser, $iCount + 1, 0, $pNameSize, 0, $pValueSize) = $KX_OK
        $tName = DllStructCreate("byte[" & $tSizes.name & "]")
        $tValue = DllStructCreate("byte[" & $tSizes.value & "]")
        $iCount += 1
        __Dll_kx_GetLastPerformance($hBrowser, $iCount, DllStructGetPtr($tName), $pNameSize, DllStructGetPtr($tValue), $pValueSize)
        ReDim $aEntries[$iCount][2]
        $aEntries[$iCount - 1][0] = __Kx_Text($tName, $tSizes.name)
        $aEntries[$iCount - 1][1] = __Kx_Text($tValue, $tSizes.value)
    WEnd
    Return $aEntries
EndFunc   ;==>_Kx_Performance

; The profiler data of the last answer: read them before the next request. The empty text unless the start asked for them.
Func _Kx_ProfilerData($hBrowser)
    If Not __Kx_IsOpen("kx_GetPerformance", $hBrowser) Then Return SetError(1, 0, "")
    Local $iSize = __Dll_kx_GetPerformance($hBrowser, 0, 0)
    If $iSize <= 1 Then Return ""
    Local $tBuffer = DllStructCreate("byte[" & $iSize & "]")
    __Dll_kx_GetPerformance($hBrowser, DllStructGetPtr($tBuffer), $iSize)
    Return __Kx_Text($tBuffer, $iSize)
EndFunc   ;==>_Kx_ProfilerData

; Shows a message to the user, in the browser.
Func _Kx_Show($hBrowser, $sMessage, $iTimeout = Default)
    If Not __Kx_InStep("kx_Display", $hBrowser) Then Return SetError(1, @extended, False)
    If Not __Kx_HasNoZero("kx_Display", $sMessage) Then Return SetError(1, 0, False)
    Local $iSeconds = __Kx_Seconds("kx_Display", $iTimeout, 60)
    If @error Then Return SetError(1, 0, False)
    Local $tMessage = __Kx_Utf8($sMessage)
    If Not __Kx_Check("kx_Display", $hBrowser, __Dll_kx_Display($hBrowser, DllStructGetPtr($tMessage), $iSeconds)) Then Return SetError(1, @extended, False)
    Return True
EndFunc   ;==>_Kx_Show

; Has the browser save a picture of the page, or of the whole browser, to a file.
Func _Kx_Screenshot($hBrowser, $sFile, $bWholeBrowser = False, $iTimeout = Default)
    If Not __Kx_InStep("kx_TakeBrowserScreenshot", $hBrowser) Then Return SetError(1, @extended, False)
    If Not __Kx_HasNoZero("kx_TakeBrowserScreenshot", $sFile) Then Return SetError(1, 0, False)
    Local $iSeconds = __Kx_Seconds("kx_TakeBrowserScreenshot", $iTimeout, 60)
    If @error Then Return SetError(1, 0, False)
    Local $tFile = __Kx_Utf8($sFile), $iType = $bWholeBrowser ? $KX_SCREENSHOT_BROWSER : $KX_SCREENSHOT_PAGE
    If Not __Kx_Check("kx_TakeBrowserScreenshot", $hBrowser, __Dll_kx_TakeBrowserScreenshot($hBrowser, DllStructGetPtr($tFile), $iType, $iSeconds)) Then
        Return SetError(1, @extended, False)
    EndIf
    Return True
EndFunc   ;==>_Kx_Screenshot

; The id of the process that was launched; 0 for a browser that was running.
Func _Kx_ProcessId($hBrowser)
    If Not __Kx_IsOpen("kx_GetBrowserProcessId", $hBrowser) Then Return SetError(1, 0, 0)
    Return __Dll_kx_GetBrowserProcessId($hBrowser)
EndFunc   ;==>_Kx_ProcessId

; Closes the browser, also one that was attached to.
Func _Kx_Exit($hBrowser, $iTimeout = Default)
    If Not __Kx_IsOpen("kx_Exit", $hBrowser) Then Return SetError(1, 0, False)
    Local $iSeconds = __Kx_Seconds("kx_Exit", $iTimeout, 10)
    If @error Then Return SetError(1, 0, False)
    Local $iResult = __Dll_kx_Exit($hBrowser, $iSeconds)
    If $iResult <> $KX_OK Then Return __Kx_Fail("kx_Exit", $iResult, $KX_ERROR_NONE, "the log tells more")
    __Kx_Forget($hBrowser)
    Return True
EndFunc   ;==>_Kx_Exit

; ---- What is below is for this file alone. ----

Func __Kx_Fail($sCall, $iResult, $iNumber, $sText)
    $__aKxError[0] = $sCall
    $__aKxError[1] = $iResult
    $__aKxError[2] = $iNumber
    $__aKxError[3] = $sText
    Return SetError(1, $iNumber, False)
EndFunc   ;==>__Kx_Fail

Func __Kx_IsOpen($sCall, $hBrowser)
    If IsInt($hBrowser) And $hBrowser >= 0 And $hBrowser < UBound($__aKxBrowsers) Then
        If $__aKxBrowsers[$hBrowser][0] = 1 Then Return True
    EndIf
    Return __Kx_Fail($sCall, $KX_NO_CONTEXT, $KX_ERROR_NONE, "the browser was closed")
EndFunc   ;==>__Kx_IsOpen

Func __Kx_InStep($sCall, $hBrowser)
    If Not __Kx_IsOpen($sCall, $hBrowser) Then Return SetError(1, @extended, False)
    If $__aKxBrowsers[$hBrowser][1] = "" Then Return True
    Return __Kx_Fail($sCall, $KX_FAILED, $__aKxBrowsers[$hBrowser][2], $__aKxBrowsers[$hBrowser][1] & "; close this browser and start another")
EndFunc   ;==>__Kx_InStep

; True when a call and the browser's answer to it both tell of success.
Func __Kx_Check($sCall, $iContext, $iResult)
    Local $iNumber = __Dll_kx_GetLastErrorNumber($iContext), $sText = ""
    If $iResult = $KX_OK And $iNumber = $KX_ERROR_SUCCESS Then Return True
    Local $iSize = __Dll_kx_GetLastErrorText($iContext, 0, 0)
    If $iSize > 1 Then
        Local $tBuffer = DllStructCreate("byte[" & $iSize & "]")
        __Dll_kx_GetLastErrorText($iContext, DllStructGetPtr($tBuffer), $iSize)
        $sText = __Kx_Text($tBuffer, $iSize)
    EndIf
    If $iNumber = $KX_ERROR_TIMEOUT And ($sText == "Error while sending request" Or $sText == "Error while receiving response") Then
        $__aKxBrowsers[$iContext][1] = "an earlier request has timed out, and its late answer would count as the next one's"
        $__aKxBrowsers[$iContext][2] = $iNumber
    ElseIf $iNumber = $KX_ERROR_GENERAL And $sText == "Error in response processing" Then
        $__aKxBrowsers[$iContext][1] = "an earlier answer was not valid, and what is left of it would spoil the next one"
        $__aKxBrowsers[$iContext][2] = $iNumber
    EndIf
    Return __Kx_Fail($sCall, $iResult, $iNumber, $sText)
EndFunc   ;==>__Kx_Check

Func __Kx_Seconds($sCall, $vTimeout, $iDefault)
    If IsKeyword($vTimeout) = 1 Then Return $iDefault
    If IsKeyword($vTimeout) = 2 Then Return 0
    If Not IsNumber($vTimeout) Or $vTimeout <= 0 Or $vTimeout > 0x7FFFFFFF Then
        __Kx_Fail($sCall, $KX_FAILED, $KX_ERROR_NONE, "a time-out is above zero, and below 68 years; Null is no limit")
        Return SetError(1, 0, 0)
    EndIf
    Return Ceiling($vTimeout)
EndFunc   ;==>__Kx_Seconds

; The library would take a zero for the text's end.
Func __Kx_HasNoZero($sCall, $sText)
    If Not StringInStr($sText, Chr(0), 1) Then Return True
    Return __Kx_Fail($sCall, $KX_FAILED, $KX_ERROR_NONE, "a text holds a zero character")
EndFunc   ;==>__Kx_HasNoZero

; A structure with the text's bytes in UTF-8; what is not set in it, the end, is zero.
Func __Kx_Utf8($sText)
    Local $dBytes = StringToBinary($sText, 4), $tBytes = DllStructCreate("byte[" & BinaryLen($dBytes) + 1 & "]")
    If BinaryLen($dBytes) > 0 Then DllStructSetData($tBytes, 1, $dBytes)
    Return $tBytes
EndFunc   ;==>__Kx_Utf8

Func __Kx_Text($tBytes, $iSize)
    If $iSize <= 1 Then Return ""
    Return BinaryToString(BinaryMid(DllStructGetData($tBytes, 1), 1, $iSize - 1), 4)
EndFunc   ;==>__Kx_Text

Func __Kx_Forget($iContext)
    $__aKxBrowsers[$iContext][0] = 0
    __Dll_kx_ContextDestroy($iContext)
EndFunc   ;==>__Kx_Forget

Func __Kx_ExitAll()
    For $iContext = 0 To UBound($__aKxBrowsers) - 1
        If $__aKxBrowsers[$iContext][0] = 1 Then _Kx_Exit($iContext)
    Next
EndFunc   ;==>__Kx_ExitAll
