/* Asks the system's debugging library, dbghelp, for a function of a library: where it is, and its file and
 * line.
 *
 *     symbols LIBRARY FUNCTION OFFSET
 *
 * prints "FUNCTION FILE:LINE" for the place OFFSET bytes behind the function's begin. The PDB lies beside the
 * library. */
#include <windows.h>
#include <dbghelp.h>
#include <stdio.h>
#include <stdlib.h>

static SYMBOL_INFO* room(void) {
  static union {
    SYMBOL_INFO info;
    char bytes[sizeof(SYMBOL_INFO) + 1000];
  } symbol;
  symbol.info.SizeOfStruct = sizeof(SYMBOL_INFO);
  symbol.info.MaxNameLen = 1000;
  return &symbol.info;
}

int main(int count, char** arguments) {
  const HANDLE process = GetCurrentProcess();
  SYMBOL_INFO* symbol = room();
  IMAGEHLP_MODULE64 module = {sizeof(IMAGEHLP_MODULE64)};
  IMAGEHLP_LINE64 line = {sizeof(IMAGEHLP_LINE64)};
  DWORD displacement = 0;
  DWORD64 base, address, distance = 0;
  if (count != 4 || !SymInitialize(process, NULL, FALSE)) {
    return 2;
  }
  SymSetOptions(SYMOPT_LOAD_LINES);
  base = SymLoadModuleEx(process, NULL, arguments[1], NULL, 0x180000000, 0, NULL, 0);
  if (base == 0 || !SymGetModuleInfo64(process, base, &module)) {
    printf("the library is not loaded: %lu\n", GetLastError());
    return 1;
  }
  if (module.SymType != SymPdb || !SymFromName(process, arguments[2], symbol)) {
    printf("no PDB (symbols of type %d), or no such function in it\n", (int)module.SymType);
    return 1;
  }
  address = symbol->Address + (DWORD64)atoi(arguments[3]);
  if (!SymFromAddr(process, address, &distance, symbol)) {
    printf("no function is there: %lu\n", GetLastError());
    return 1;
  }
  if (!SymGetLineFromAddr64(process, address, &displacement, &line)) {
    printf("%s, and no line: %lu\n", symbol->Name, GetLastError());
    return 1;
  }
  printf("%s %s:%lu\n", symbol->Name, line.FileName, line.LineNumber);
  return 0;
}
