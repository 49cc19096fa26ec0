/*
 * Has a conversation with the functions of kxtcp64.h, without a wrapper: README.md tells how.
 *
 *     host STEPS KXTCP64.DLL
 *
 * The second argument is for hosts that load the library; this one is linked with it. The arguments are
 * ASCII, which is the same in UTF-8 and in the system's code page.
 */
#include "kxtcp64.h"

#include <fcntl.h>
#include <io.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define MOST_FIELDS 4
#define SEPARATOR_LENGTH 9 /* of "[EXTRACT]" */

static int context;

static void* memory(int size) {
  void* block = malloc(size > 0 ? (size_t)size : 1);
  if (block == NULL) {
    exit(3);
  }
  return block;
}

/* ---- JSON -------------------------------------------------------------------------------------------- */

static void printText(const char* text) {
  putchar('"');
  for (; *text != '\0'; ++text) {
    const unsigned char c = (unsigned char)*text;
    if (c == '"' || c == '\\') {
      putchar('\\');
      putchar(c);
    } else if (c < ' ') {
      printf("\\u%04x", c);
    } else {
      putchar(c);
    }
  }
  putchar('"');
}

/* ---- What calls have left ---------------------------------------------------------------------------- */

static char* errorText(void) {
  const int size = kx_GetLastErrorText(context, NULL, 0);
  char* text = memory(size);
  *text = '\0';
  kx_GetLastErrorText(context, text, size);
  return text;
}

static char* extract(int index) {
  const int size = kx_GetLastExtract(context, NULL, 0, index);
  char* text = memory(size);
  *text = '\0';
  if (size > 0) {
    kx_GetLastExtract(context, text, size, index);
  }
  return text;
}

/* Nothing tells how many there are, and an empty one has the size that one beyond the last has. But the size
 * of all of them, joined, is known. */
static void printExtracts(void) {
  const int whole = kx_GetLastExtract(context, NULL, 0, 0);
  int length = 0, index;
  for (index = 1; whole > 0 && (index == 1 || length + 1 < whole); ++index) {
    char* text = extract(index);
    printf(index > 1 ? ", " : "");
    printText(text);
    length += (int)strlen(text) + (index > 1 ? SEPARATOR_LENGTH : 0);
    free(text);
  }
}

static void printPerformance(void) {
  int index, nameSize, valueSize;
  for (index = 1; kx_GetLastPerformance(context, index, NULL, &nameSize, NULL, &valueSize) == KX_OK;
       ++index) {
    char* name = memory(nameSize);
    char* value = memory(valueSize);
    kx_GetLastPerformance(context, index, name, &nameSize, value, &valueSize);
    printf(index > 1 ? ", [" : "[");
    printText(name);
    printf(", ");
    printText(value);
    printf("]");
    free(name);
    free(value);
  }
}

static void printLeft(void) {
  const int size = kx_GetPerformance(context, NULL, 0);
  char* data = memory(size);
  *data = '\0';
  kx_GetPerformance(context, data, size);
  printf("{\"extracts\": [");
  printExtracts();
  printf("], \"performance\": [");
  printPerformance();
  printf("], \"profilerData\": ");
  printText(data);
  printf("}");
  free(data);
}

/* ---- Steps ------------------------------------------------------------------------------------------- */

/* Prints the error, if there is one. KX_OK alone does not do: the browser may have answered with an error. */
static int succeeded(const char* call, int result) {
  const int number = kx_GetLastErrorNumber(context);
  char* text;
  if (result == KX_OK && number == KX_ERROR_SUCCESS) {
    return 1;
  }
  text = errorText();
  printf("\"fails\": {\"call\": \"%s\", \"result\": %d, \"number\": %d, \"text\": ", call, result, number);
  printText(text);
  printf("}");
  free(text);
  return 0;
}

static void start(const char* program, const char* profile, int seconds) {
  char options[1000];
  if (snprintf(options, sizeof options, "-profiler -fxProfile=\"%s\"", profile) >= (int)sizeof options) {
    exit(3);
  }
  context = kx_ContextCreate();
  if (succeeded("kx_Init", kx_Init(context, "fx", options, program, 0, 1, seconds))) {
    printf("\"gives\": {\"launched\": %s}", kx_GetBrowserProcessId(context) != 0 ? "true" : "false");
  } else {
    kx_ContextDestroy(context);
  }
}

static void setVariable(const char* name, const char* value) {
  /* Nothing is sent, and the error number is that of the last request. */
  const int result = kx_SetVar(context, name, value);
  printf(result == KX_OK ? "\"gives\": {}" : "\"result\": %d", result);
}

static void play(const char* macro, int seconds) {
  if (succeeded("kx_Play", kx_Play(context, macro, seconds))) {
    printf("\"gives\": ");
  } else {
    printf(", \"left\": ");
  }
  printLeft();
}

static void nothingToGive(const char* call, int result) {
  if (succeeded(call, result)) {
    printf("\"gives\": {}");
  }
}

static void end(int seconds) {
  /* The error number has gone with the browser. */
  const int result = kx_Exit(context, seconds);
  printf(result == KX_OK ? "\"gives\": {}" : "\"result\": %d", result);
  kx_ContextDestroy(context);
}

static int step(const char* name, char** fields) {
  if (strcmp(name, "start") == 0) {
    start(fields[0], fields[1], atoi(fields[2]));
  } else if (strcmp(name, "variable") == 0) {
    setVariable(fields[0], fields[1]);
  } else if (strcmp(name, "play") == 0) {
    play(fields[0], atoi(fields[1]));
  } else if (strcmp(name, "show") == 0) {
    nothingToGive("kx_Display", kx_Display(context, fields[0], atoi(fields[1])));
  } else if (strcmp(name, "screenshot") == 0) {
    const int area = strcmp(fields[0], "page") == 0 ? KX_SCREENSHOT_PAGE : KX_SCREENSHOT_BROWSER;
    nothingToGive("kx_TakeBrowserScreenshot",
                  kx_TakeBrowserScreenshot(context, fields[1], area, atoi(fields[2])));
  } else if (strcmp(name, "exit") == 0) {
    end(atoi(fields[0]));
  } else {
    return 0;
  }
  return 1;
}

/* ---- The file of steps ------------------------------------------------------------------------------- */

static char* wholeFile(const char* path) {
  FILE* file = fopen(path, "rb");
  char* text;
  long size;
  if (file == NULL || fseek(file, 0, SEEK_END) != 0) {
    return NULL;
  }
  size = ftell(file);
  rewind(file);
  text = memory((int)size + 1);
  text[fread(text, 1, (size_t)size, file)] = '\0';
  fclose(file);
  return text;
}

/* Takes the text up to the separator, or the end, off the rest. */
static char* take(char** rest, char separator) {
  char* begin = *rest;
  char* end = strchr(begin, separator);
  if (end == NULL) {
    *rest = begin + strlen(begin);
  } else {
    *end = '\0';
    *rest = end + 1;
  }
  return begin;
}

static char* withoutEscapes(char* field) {
  char* from = field;
  char* to = field;
  for (; *from != '\0'; ++from) {
    if (*from == '\\') {
      ++from;
      *to++ = *from == 't' ? '\t' : *from == 'n' ? '\n' : *from == 'r' ? '\r' : *from;
    } else {
      *to++ = *from;
    }
  }
  *to = '\0';
  return field;
}

int main(int count, char** arguments) {
  char* rest = count == 3 ? wholeFile(arguments[1]) : NULL;
  int number = 0;
  if (rest == NULL) {
    fprintf(stderr, "usage: host STEPS KXTCP64.DLL\n");
    return 2;
  }
  _setmode(_fileno(stdout), _O_BINARY);
  while (*rest != '\0') {
    char* line = take(&rest, '\n');
    const char* name = take(&line, '\t');
    char* fields[MOST_FIELDS];
    int index;
    for (index = 0; index < MOST_FIELDS; ++index) {
      fields[index] = withoutEscapes(take(&line, '\t'));
    }
    printf("{\"step\": %d, ", ++number);
    if (!step(name, fields)) {
      fprintf(stderr, "there is no step %s\n", name);
      return 2;
    }
    printf("}\n");
    fflush(stdout);
  }
  return 0;
}
