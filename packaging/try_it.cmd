@echo off
rem A host plays a macro in the simulator and prints what the macro has extracted.
cd /d "%~dp0"
bin\first_host.exe "%CD%\bin\kxsim.exe" "extract Hello $(city)"
