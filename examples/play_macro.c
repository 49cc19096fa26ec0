/*
 * Launches a browser, plays macros in it, reads back what they left, takes a picture and closes the browser
 * again. Tells of every step what came of it and how long it took; ends with 0 only if all was as expected.
 *
 *     play_macro BROWSER PROFILE MACRO FAILING-MACRO SCREENSHOT
 *
 * The expected results are those of macros/order.txt and macros/no_such_button.txt. Give the arguments in
 * ASCII: the library takes UTF-8, and main() gets whatever code page the system has.
 */
#include "kxtcp64.h"

#include <windows.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#define TIMED(statement) (began = now(), (statement), took = now() - began)

static const char* const kVariables[][2] = {{"customer", "Ada"}, {"city", "Troms\xC3\xB8"}};
static const char* const kExtracts[] = {"Welcome back, Ada", "On its way to Troms\xC3\xB8", "Total: 42.50"};
static const char* const kPerformance[][2] = {{"search", "0.15"}, {"total", "0.31"}};
static const char kMessage[] = "Your order is on its way";

static int context, deviations;
static double began, took; /* seconds */
static char text[4096];

static double now(void) {
  LARGE_INTEGER count, frequency;
  QueryPerformanceCounter(&count);
  QueryPerformanceFrequency(&frequency);
  return (double)count.QuadPart / (double)frequency.QuadPart;
}

/* Prints one step. Columns are counted in characters; those beyond ASCII have more than one byte. */
static void tell(const char* call, int ok, const char* format, ...) {
  char what[512];
  const char* c;
  int blanks = 54;
  va_list arguments;
  va_start(arguments, format);
  vsprintf(what, format, arguments);
  va_end(arguments);
  for (c = what; *c != '\0'; ++c) {
    blanks -= ((unsigned char)*c & 0xC0) != 0x80;
  }
  printf("%-26s%s%*s%7.2f s   %s\n", call, what, blanks > 0 ? blanks : 0, "", took, ok ? "ok" : "UNEXPECTED");
  if (!ok) {
    ++deviations;
    kx_GetLastErrorText(context, text, (int)sizeof text);
    printf("    the context's last error is %d: %s\n", kx_GetLastErrorNumber(context), text);
  }
  fflush(stdout);
}

/* Reads the beginning of a file, and puts a zero behind it. */
static int readFile(const char* path, char* buffer, size_t size) {
  FILE* file = fopen(path, "rb");
  if (file != NULL) {
    buffer[fread(buffer, 1, size - 1, file)] = '\0';
    fclose(file);
  }
  return file != NULL;
}

static void playMacro(const char* path, int expectedResult, int expectedNumber, const char* expectedText) {
  char macro[4096];
  int result, number;
  if (!readFile(path, macro, sizeof macro)) {
    tell("kx_Play", 0, "cannot read %.400s", path);
    return;
  }
  TIMED(result = kx_Play(context, macro, 30));
  number = kx_GetLastErrorNumber(context);
  kx_GetLastErrorText(context, text, (int)sizeof text);
  tell("kx_Play", result == expectedResult && number == expectedNumber && strcmp(text, expectedText) == 0,
       "result %d, number %d: %.400s", result, number, text);
}

static void readBack(void) {
  char value[256];
  int i, result, nameSize = (int)sizeof text, valueSize = (int)sizeof value;
  for (i = 0; i < 3; ++i) {
    TIMED(result = kx_GetLastExtract(context, text, (int)sizeof text, i + 1));
    tell("kx_GetLastExtract", result > 0 && strcmp(text, kExtracts[i]) == 0, "%d: %.400s", i + 1,
         result > 0 ? text : "-");
  }
  for (i = 0; i < 2; ++i) {
    TIMED(result = kx_GetLastPerformance(context, i + 1, text, &nameSize, value, &valueSize));
    tell("kx_GetLastPerformance",
         result == KX_OK && strcmp(text, kPerformance[i][0]) == 0 && strcmp(value, kPerformance[i][1]) == 0,
         "%d: %.200s = %.200s", i + 1, result == KX_OK ? text : "-", result == KX_OK ? value : "-");
  }
  TIMED(result = kx_GetPerformance(context, text, (int)sizeof text));
  tell("kx_GetPerformance", result > 1, "%d bytes of profiler data", result - 1);
}

static void useBrowser(char** arguments) {
  int i, result;
  DWORD exitCode = STILL_ACTIVE;
  const DWORD id = (DWORD)kx_GetBrowserProcessId(context);
  const HANDLE process = OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, id);
  tell("kx_Init",
       kx_GetLastErrorNumber(context) == KX_ERROR_SUCCESS && WaitForSingleObject(process, 0) == WAIT_TIMEOUT,
       "launched browser, process %lu", id);
  for (i = 0; i < 2; ++i) {
    TIMED(result = kx_SetVar(context, kVariables[i][0], kVariables[i][1]));
    tell("kx_SetVar", result == KX_OK, "%s = %s", kVariables[i][0], kVariables[i][1]);
  }
  playMacro(arguments[3], KX_OK, KX_ERROR_SUCCESS, "Order found");
  readBack();
  remove(arguments[5]);
  TIMED(result = kx_TakeBrowserScreenshot(context, arguments[5], KX_SCREENSHOT_BROWSER, 30));
  tell("kx_TakeBrowserScreenshot",
       result == KX_OK && kx_GetLastErrorNumber(context) == KX_ERROR_SUCCESS &&
           readFile(arguments[5], text, sizeof text) &&
           memcmp(text, "\x89PNG\r\n\x1A\n\0\0\0\rIHDR", 16) == 0,
       "a PNG picture");
  playMacro(arguments[4], KX_FAILED, -50, "The page has no button \"Buy\"");
  TIMED(result = kx_Display(context, kMessage, 30));
  tell("kx_Display", result == KX_OK && kx_GetLastErrorNumber(context) == KX_ERROR_SUCCESS, "%s", kMessage);
  TIMED(result = kx_Exit(context, 10));
  GetExitCodeProcess(process, &exitCode);
  tell("kx_Exit", result == KX_OK && WaitForSingleObject(process, 0) == WAIT_OBJECT_0 && exitCode == 0,
       "process %lu %s", id, exitCode == STILL_ACTIVE ? "is still there" : "has ended");
  CloseHandle(process);
}

int main(int count, char** arguments) {
  char options[300];
  int result;
  if (count != 6 || strlen(arguments[2]) > 200) {
    fprintf(stderr, "usage: play_macro BROWSER PROFILE MACRO FAILING-MACRO SCREENSHOT\n");
    return 2;
  }
  TIMED(context = kx_ContextCreate());
  tell("kx_ContextCreate", context >= 0, "context %d", context);
  sprintf(options, "-fxProfile \"%s\" -profiler", arguments[2]);
  TIMED(result = kx_Init(context, "fx", options, arguments[1], 0, 1, 30));
  if (result == KX_OK) {
    useBrowser(arguments);
  } else {
    tell("kx_Init", 0, "result %d", result);
  }
  TIMED(kx_ContextDestroy(context));
  tell("kx_ContextDestroy", kx_ContextCreate() == context, "the number %d is free again", context);
  printf("%s\n", deviations == 0 ? "Everything was as expected." : "Something was NOT as expected.");
  return deviations == 0 ? 0 : 1;
}
