/*
 * Starts a browser itself, with the arguments that the library names, connects to its extension and plays
 * macros. Tells of every step what came of it and how long it took; ends with 0 only if all was as expected.
 *
 *     runner BROWSER USER-DATA-DIR MACRO FAILING-MACRO SCREENSHOT
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

static const char kAllExtracts[] = "Welcome back, Ada[EXTRACT]On its way to Bergen[EXTRACT]Total: 42.50";
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

static void tell(const char* call, int ok, const char* format, ...) {
  char what[512];
  va_list arguments;
  va_start(arguments, format);
  vsprintf(what, format, arguments);
  va_end(arguments);
  printf("%-26s%-54s%7.2f s   %s\n", call, what, took, ok ? "ok" : "UNEXPECTED");
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

/* Starts the program with the arguments. Null when it cannot be started. */
static HANDLE startBrowser(const char* program, const char* arguments) {
  char line[8192];
  WCHAR wideLine[8192];
  STARTUPINFOW startup = {0};
  PROCESS_INFORMATION process = {0};
  startup.cb = sizeof startup;
  sprintf(line, "\"%.300s\" %.7000s", program, arguments);
  if (MultiByteToWideChar(CP_UTF8, 0, line, -1, wideLine, 8192) == 0 ||
      !CreateProcessW(NULL, wideLine, NULL, NULL, FALSE, 0, NULL, NULL, &startup, &process)) {
    return NULL;
  }
  CloseHandle(process.hThread);
  return process.hProcess;
}

static void useBrowser(char** arguments) {
  char name[100] = "", value[100] = "";
  int result, nameSize = (int)sizeof name, valueSize = (int)sizeof value;
  TIMED(result = kx_SetVar(context, "customer", "Ada"));
  tell("kx_SetVar", result == KX_OK, "customer = Ada");
  TIMED(result = kx_SetVar(context, "city", "Bergen"));
  tell("kx_SetVar", result == KX_OK, "city = Bergen");
  playMacro(arguments[3], KX_OK, KX_ERROR_SUCCESS, "Order found");
  TIMED(result = kx_GetLastExtract(context, text, (int)sizeof text, 0));
  tell("kx_GetLastExtract", result > 0 && strcmp(text, kAllExtracts) == 0, "all three, %d bytes", result - 1);
  TIMED(result = kx_GetLastPerformance(context, 2, name, &nameSize, value, &valueSize));
  tell("kx_GetLastPerformance", result == KX_OK && strcmp(name, "total") == 0 && strcmp(value, "0.31") == 0,
       "2: %s = %s", name, value);
  remove(arguments[5]);
  TIMED(result = kx_TakeBrowserScreenshot(context, arguments[5], KX_SCREENSHOT_PAGE, 30));
  tell("kx_TakeBrowserScreenshot",
       result == KX_OK && kx_GetLastErrorNumber(context) == KX_ERROR_SUCCESS &&
           readFile(arguments[5], text, sizeof text) &&
           memcmp(text, "\x89PNG\r\n\x1A\n\0\0\0\rIHDR", 16) == 0,
       "a PNG picture");
  playMacro(arguments[4], KX_FAILED, -50, "The page has no button \"Buy\"");
  TIMED(result = kx_Display(context, kMessage, 30));
  tell("kx_Display", result == KX_OK && kx_GetLastErrorNumber(context) == KX_ERROR_SUCCESS, "%s", kMessage);
  TIMED(result = kxr_Exit(context, 30));
  tell("kxr_Exit", result == KX_OK, "the browser has confirmed");
}

int main(int count, char** arguments) {
  char options[400], line[4096];
  HANDLE browser;
  DWORD ended;
  int result;
  if (count != 6 || strlen(arguments[2]) > 300) {
    fprintf(stderr, "usage: runner BROWSER USER-DATA-DIR MACRO FAILING-MACRO SCREENSHOT\n");
    return 2;
  }
  context = kx_ContextCreate();
  sprintf(options, "-runner -crUserDataDir \"%s\"", arguments[2]);
  TIMED(result = kxr_GetCommandLine("cr", options, line, (int)sizeof line, NULL));
  tell("kxr_GetCommandLine", result == KX_OK, "%lu bytes of arguments",
       (unsigned long)(result == KX_OK ? strlen(line) : 0));
  TIMED(browser = result == KX_OK ? startBrowser(arguments[1], line) : NULL);
  tell("CreateProcessW", browser != NULL, "process %lu", browser != NULL ? GetProcessId(browser) : 0);
  if (browser != NULL) {
    TIMED(result = kxr_Init(context, "cr", options, 1, 30));
    tell("kxr_Init", result == KX_OK && kx_GetLastErrorNumber(context) == KX_ERROR_SUCCESS,
         "the extension has answered");
    if (result == KX_OK) {
      useBrowser(arguments);
    }
    TIMED(ended = WaitForSingleObject(browser, 10000));
    tell("WaitForSingleObject", ended == WAIT_OBJECT_0, "the browser's process %s",
         ended == WAIT_OBJECT_0 ? "has ended" : "is still there");
    if (ended != WAIT_OBJECT_0) {
      TerminateProcess(browser, 1);
    }
    CloseHandle(browser);
  }
  kx_ContextDestroy(context);
  printf("%s\n", deviations == 0 ? "Everything was as expected." : "Something was NOT as expected.");
  return deviations == 0 ? 0 : 1;
}
