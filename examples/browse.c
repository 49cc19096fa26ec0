/*
 * Launches a browser, plays one macro from a file in it, prints everything that the macro has left, takes a
 * picture of the page and closes the browser again. Tells of every step what came of it and how long it took;
 * ends with 0 only if all of them succeeded.
 *
 *     browse TYPE OPTIONS BROWSER MACRO VARIABLES SCREENSHOT
 *
 *     TYPE       fx for Firefox, cr for Chrome
 *     OPTIONS    what kx_Init() takes, such as -fxProfile work
 *     VARIABLES  a file with lines NAME=VALUE, in UTF-8 like the macro
 */
#include "count_extracts.h"
#include "kxtcp64.h"

#include <windows.h>
#include <shellapi.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define TIMED(statement) (began = now(), (statement), took = now() - began)

enum { kStartSeconds = 120, kPlaySeconds = 60, kExitSeconds = 20 };

static int context, failures;
static double began, took; /* seconds */

static double now(void) {
  LARGE_INTEGER count, frequency;
  QueryPerformanceCounter(&count);
  QueryPerformanceFrequency(&frequency);
  return (double)count.QuadPart / (double)frequency.QuadPart;
}

/* Prints one step. A failure of the library comes with its own account. */
static void tell(const char* call, const char* what, int ok) {
  char reason[1024] = "";
  printf("%-26s%8.2f s   %-7s%s\n", call, took, ok ? "ok" : "FAILED", what);
  if (!ok) {
    ++failures;
    kx_GetLastErrorText(context, reason, (int)sizeof reason);
    printf("    error %d: %s\n", kx_GetLastErrorNumber(context), reason);
  }
  fflush(stdout);
}

/* The library takes UTF-8, and main() would get whatever code page the system has. */
static char* utf8(const wchar_t* text) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, NULL, 0, NULL, NULL);
  char* result = malloc((size_t)size);
  if (result == NULL) {
    exit(2);
  }
  WideCharToMultiByte(CP_UTF8, 0, text, -1, result, size, NULL, NULL);
  return result;
}

/* The whole file with a zero behind it, or NULL. */
static char* readFile(const wchar_t* path) {
  char* text = NULL;
  long size;
  FILE* file = _wfopen(path, L"rb");
  if (file == NULL) {
    return NULL;
  }
  fseek(file, 0, SEEK_END);
  size = ftell(file);
  rewind(file);
  text = malloc((size_t)size + 1);
  if (text != NULL) {
    text[fread(text, 1, (size_t)size, file)] = '\0';
  }
  fclose(file);
  return text;
}

static void setVariables(const wchar_t* path) {
  int result;
  char *line, *value;
  char* variables = readFile(path);
  if (variables == NULL) {
    took = 0;
    tell("kx_SetVar", "the variables cannot be read", 0);
    return;
  }
  for (line = strtok(variables, "\r\n"); line != NULL; line = strtok(NULL, "\r\n")) {
    value = strchr(line, '=');
    if (value == NULL) {
      took = 0;
      tell(line, "is no NAME=VALUE", 0);
      continue;
    }
    *value = '\0';
    TIMED(result = kx_SetVar(context, line, value + 1));
    *value = '=';
    tell("kx_SetVar", line, result == KX_OK);
  }
  free(variables);
}

/* A row of a table comes as one extract, its cells parted by tabs. */
static void printExtracts(void) {
  const int count = countExtracts(context);
  int index, size, shownTable = 0;
  char *c, *extract;
  for (index = 1; index <= count; ++index) {
    size = kx_GetLastExtract(context, NULL, 0, index);
    if (size == 0) {
      size = 1; /* an empty extract; the zero at its end needs a byte all the same */
    }
    extract = malloc((size_t)size);
    if (extract == NULL) {
      exit(2);
    }
    kx_GetLastExtract(context, extract, size, index);
    if (index == 1) {
      printf("\n    extracts:\n");
    } else if (!shownTable && strchr(extract, '\t') != NULL) {
      printf("\n    extracted table:\n");
      shownTable = 1;
    }
    printf("      ");
    for (c = extract; *c != '\0'; ++c) {
      if (*c == '\t') {
        printf(" | ");
      } else {
        putchar(*c);
      }
    }
    putchar('\n');
    free(extract);
  }
}

static void printPerformance(void) {
  int index, nameSize, valueSize;
  char name[200], value[50];
  for (index = 1;; ++index) {
    nameSize = (int)sizeof name;
    valueSize = (int)sizeof value;
    if (kx_GetLastPerformance(context, index, name, &nameSize, value, &valueSize) != KX_OK) {
      break;
    }
    printf("%s      %-24s%8s s\n", index == 1 ? "\n    times that the macro has measured:\n" : "", name,
           value);
  }
  printf("\n");
}

static void play(const wchar_t* path) {
  int result;
  char text[1024] = "";
  char* macro = readFile(path);
  if (macro == NULL) {
    took = 0;
    tell("kx_Play", "the macro cannot be read", 0);
    return;
  }
  TIMED(result = kx_Play(context, macro, kPlaySeconds));
  free(macro);
  kx_GetLastErrorText(context, text, (int)sizeof text);
  tell("kx_Play", text, result == KX_OK);
  printExtracts();
  printPerformance();
}

static void useBrowser(wchar_t** arguments) {
  int result;
  char what[100];
  char* screenshot = utf8(arguments[6]);
  DWORD exitCode = STILL_ACTIVE;
  const DWORD id = (DWORD)kx_GetBrowserProcessId(context);
  const HANDLE process = OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, id);
  sprintf(what, "launched, process %lu", id);
  tell("kx_Init", what, process != NULL);
  setVariables(arguments[5]);
  play(arguments[4]);
  DeleteFileW(arguments[6]);
  TIMED(result = kx_TakeBrowserScreenshot(context, screenshot, KX_SCREENSHOT_PAGE, kPlaySeconds));
  tell("kx_TakeBrowserScreenshot", "the whole page",
       result == KX_OK && kx_GetLastErrorNumber(context) == KX_ERROR_SUCCESS);
  TIMED(result = kx_Display(context, "The macro is at its end", kPlaySeconds));
  tell("kx_Display", "a message in the page",
       result == KX_OK && kx_GetLastErrorNumber(context) == KX_ERROR_SUCCESS);
  TIMED(result = kx_Exit(context, kExitSeconds));
  GetExitCodeProcess(process, &exitCode);
  sprintf(what, "process %lu %s %lu", id, exitCode == STILL_ACTIVE ? "still runs," : "has ended with",
          exitCode);
  tell("kx_Exit", what, result == KX_OK && exitCode == 0);
  CloseHandle(process);
  free(screenshot);
}

int main(void) {
  int count = 0, result;
  wchar_t** arguments = CommandLineToArgvW(GetCommandLineW(), &count);
  char *type, *options, *browser;
  if (arguments == NULL || count != 7) {
    fprintf(stderr, "usage: browse TYPE OPTIONS BROWSER MACRO VARIABLES SCREENSHOT\n");
    return 2;
  }
  type = utf8(arguments[1]);
  options = utf8(arguments[2]);
  browser = utf8(arguments[3]);
  SetConsoleOutputCP(CP_UTF8);
  context = kx_ContextCreate();
  TIMED(result = kx_Init(context, type, options, browser, 0, 1, kStartSeconds));
  if (result == KX_OK) {
    useBrowser(arguments);
  } else {
    tell("kx_Init", "no browser", 0);
  }
  kx_ContextDestroy(context);
  free(type);
  free(options);
  free(browser);
  LocalFree(arguments);
  printf("%s\n", failures == 0 ? "Everything was as expected." : "Something was NOT as expected.");
  return failures == 0 ? 0 : 1;
}
