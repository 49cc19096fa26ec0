/*
 * kxtcp64.h - drives Firefox or Chrome carrying the Korvex extension, through KXTCP64.dll.
 *
 * A host creates contexts, binds each to one browser, plays macros in it, reads back what they left, and
 * closes the browser:
 *
 *     int context = kx_ContextCreate();
 *     if (kx_Init(context, "fx", "-fxProfile work", NULL, 0, 0, 60) == KX_OK) {
 *         kx_SetVar(context, "city", "Oslo");
 *         kx_Play(context, macro, 30);
 *         kx_GetLastExtract(context, text, (int)sizeof text, 1);
 *         kx_Exit(context, 10);
 *     }
 *     kx_ContextDestroy(context);
 *
 * CONVENTIONS
 *
 * Hosts.  The library is for 64-bit hosts on Windows 7 or later; a 32-bit process cannot load it. It was run
 * under Wine, not on Windows yet: docs/windows.md tells what is known to differ. All functions are plain C
 * functions without name decoration and with the platform's default calling convention.
 *
 * Text.  The host's texts and those it gets are zero-terminated and narrow (char), in UTF-8, whatever code
 * page the host uses: paths, profile names, macros, extracts. Blanks and letters of every script are all
 * right nearly everywhere; docs/foreign-names.md tells where not, and the way round it. A folder or profile
 * name should not end in a backslash, nor hold a double quote.
 *
 * Environment variables.  They are read as Windows keeps them, in UTF-16, at the time of the call. A host
 * sets them with wide calls (SetEnvironmentVariableW, _wputenv). A call that takes bytes (ending in A, or
 * _putenv) reads these in the host's code page: UTF-8 bytes given to it become other names, unless UTF-8 is
 * that code page.
 *
 * Results.  int, named by the KX_ constants below. Unless a function says otherwise, KX_NO_CONTEXT means
 * that the context number is negative, was never given or was destroyed; KX_FAILED is every other failure.
 * Among these are a context without a browser and a null text where none is allowed: such a call leaves one
 * error entry in the log and changes nothing. No exception leaves the library.
 *
 * Lack of memory.  The call fails (KX_FAILED; KX_TIMEOUT from kxr_Exit()), with one error entry in the log.
 * What it had done by then stays: a play has forgotten what the play before left; a start has let go of a
 * browser that its context had, has ended one that it launched, and may leave number and text of an earlier
 * start. A request that was sent has been carried out; its answer was received and dropped, and the next
 * request gets its own. The context stays usable.
 *
 * Errors of a context.  The number and text of a context's last error are read with kx_GetLastErrorNumber()
 * and kx_GetLastErrorText(). While the context has a browser they are what the browser's last answer said
 * (number 1 is success), or why there was no answer. Without one they are those of the last start that
 * failed. Such kept errors are not cleared: a start that succeeds only covers them, until its browser has
 * exited. Mistakes in the host's arguments (KX_NO_CONTEXT, no browser, null texts, a port, a missing option,
 * small buffers) do not touch number and text. The log tells of them, except for buffers that are too small,
 * null sizes and performance entries that are not there: only the result tells of these.
 *
 * Success means "answered".  kx_Init(), kxr_Init(), kx_Display() and kx_TakeBrowserScreenshot() give KX_OK
 * as soon as the extension has answered, even when its answer is an error. Only kx_Play() looks at the
 * number. After the others, ask kx_GetLastErrorNumber(): it gives 1 when all went well.
 *
 * Time-outs.  Whole seconds. A negative time-out counts as 600. 0 waits without a limit for what the
 * extension does (taking what is written, connecting back, answering), and ten seconds for the end of a
 * process. A time-out bounds each single wait, not the whole call: see each function's "Blocks".
 *
 * Blocking.  Every call does its work on the calling thread and blocks it; a window of that thread freezes
 * meanwhile. A call cannot be cancelled. Three waits have no bound of their own:
 *   - closing a connection (in kx_Exit(), kxr_Exit() and a start that fails) waits until the browser has
 *     read what was sent to it or has gone; a browser that neither reads nor closes, and whose process the
 *     call has not ended, holds the call there;
 *   - kx_Init() that launched a browser whose extension connected, and whose first request then failed, asks
 *     it to exit, and waits for the answer without a limit;
 *   - a server pipe that is busy is waited for, up to five seconds each time, as often as it becomes free and
 *     somebody else takes it first. One that stays busy for five seconds counts as not served.
 * docs/time-bounds.md adds up the longest time of each function for common time-outs.
 *
 * After a time-out.  Requests and answers carry no numbers. When a request has timed out, an answer that
 * arrives later counts as the answer to the next request, and what was being sent may reach the browser cut
 * short. The remedy: kx_Exit() the context, then kx_Init() it again. Both are safe at any time after a
 * time-out.
 *
 * Threads.  Contexts may be created and destroyed, and different contexts used, by several threads at once.
 * One context must be used by one thread at a time, and must not be destroyed while another thread uses it;
 * which thread that is may change from call to call.
 *
 * Buffers.  Texts are copied into the host's buffers; nothing is allocated for the host, nothing has to be
 * freed. A null buffer asks for the size. Sizes are in bytes and count the terminating zero. A negative
 * size counts as unlimited: pass the real one. A buffer that is too small stays untouched.
 *
 * Unloading.  Exit every context before the library is unloaded. What is still alive then is not closed:
 * the browsers stay, and the memory and handles of their connections are lost until the process ends. Load
 * the library once and keep it: docs/windows.md tells what unloading it again and again costs.
 *
 * Log.  Two environment variables, read afresh for every entry, so that they can be changed while the
 * library is loaded:
 *   KORVEX_LOG      "on" or "true", in any case: information is logged, not only errors
 *   KORVEX_LOGPATH  the log file; without it, and with KORVEX_LOG on, korvex.log in the folder that
 *                   HOMEDRIVE and HOMEPATH name
 * Errors go to KORVEX_LOGPATH even when KORVEX_LOG is off. What is logged also goes to the debugger, as
 * UTF-8 through OutputDebugStringA: characters outside ASCII may look different there. Entries that several
 * processes write to one file at the same moment may be mixed or lost: give each process a file of its own.
 */
#ifndef KXTCP64_H
#define KXTCP64_H

#if defined(_WIN32) && !defined(_WIN64)
#error "KXTCP64.dll is for 64-bit hosts only."
#endif

#if defined(_WIN32) && !defined(KXTCP64_BUILD)
#define KX_API __declspec(dllimport)
#else
#define KX_API extern
#endif

/* Results. */
#define KX_OK 0                  /* done; see "Success means answered" above */
#define KX_FAILED (-1)           /* general failure, a single buffer that is too small included */
#define KX_BUFFER_TOO_SMALL (-2) /* kx_GetLastPerformance() and kxr_GetCommandLine() only */
#define KX_TIMEOUT (-3)          /* kx_Init(): the time ran out; kxr_Exit(): the exit was not confirmed */
#define KX_NO_CONTEXT (-5)       /* there is no such context */

/* Error numbers, as kx_GetLastErrorNumber() gives them. Others are the extension's or Windows', made
 * negative; some of these have the values below. */
#define KX_ERROR_NONE 0              /* nothing has happened yet, or the last answer gave no number */
#define KX_ERROR_SUCCESS 1           /* the last answer reported success */
#define KX_ERROR_GENERAL (-1)        /* the transport failed, or no start page; the text tells how */
#define KX_ERROR_TIMEOUT (-3)        /* a wait ran out */
#define KX_ERROR_PROFILE_IN_USE (-4) /* nobody serves, and a Firefox has the profile; not with -fxProfile */

/* The type of kx_TakeBrowserScreenshot(). */
#define KX_SCREENSHOT_BROWSER 0 /* the whole browser, like every value but 1 */
#define KX_SCREENSHOT_PAGE 1    /* the web page */

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Contexts and their errors ----------------------------------------------------------------------- */

/**
 * Creates a context. It has no browser yet, error number 0 and an empty error text.
 *
 * @return the context's number, 0 or more: the lowest that is free; numbers of destroyed contexts come
 *         back. KX_FAILED only when there is no memory, or the library has been detached from the process.
 *
 * Threads: any, at any time. Blocks: never.
 */
KX_API int kx_ContextCreate(void);

/**
 * Destroys a context. Call kx_Exit() or kxr_Exit() first: a browser that the context still has is neither
 * closed nor told, and its connection stays open until the process ends.
 *
 * @param context  the context's number; a number without a context is ignored, without a log entry
 *
 * Threads: any, but not while another thread uses this context. Blocks: never.
 */
KX_API void kx_ContextDestroy(int context);

/**
 * Gives the number of the context's last error.
 *
 * @param context  the context's number; it need not have a browser
 * @return 1 when the last answer of the browser reported success; 0 when nothing has happened yet, or the
 *         browser's answer gave no number; otherwise a negative number. The extension's and Windows'
 *         positive error numbers come as negative ones: 7 as -7. KX_NO_CONTEXT if there is no such context.
 *         Some numbers look like others. Windows' 1, kept by a start that failed, comes as 1, like success:
 *         look at the start's result. 3, 4 and 5 of Windows or of the extension come as -3, -4 and -5: look
 *         at the error text; kx_GetLastErrorText() gives KX_NO_CONTEXT only when there is no context.
 *
 * Threads: one at a time per context. Blocks: never.
 */
KX_API int kx_GetLastErrorNumber(int context);

/**
 * Copies the text that belongs to the context's last error.
 *
 * @param context  the context's number; it need not have a browser
 * @param buffer   receives the text and a terminating zero; NULL only asks for the size
 * @param size     bytes available at buffer; a negative size counts as unlimited
 * @return bytes needed or copied, the terminating zero included (1 for an empty text); KX_FAILED if size is
 *         too small, with buffer untouched and nothing logged; KX_NO_CONTEXT
 *
 * Threads: one at a time per context. Blocks: never.
 */
KX_API int kx_GetLastErrorText(int context, char* buffer, int size);

/* ---- Starting a browser, or attaching to one --------------------------------------------------------- */

/**
 * Binds a context to a browser: connects to the extension of a running one, or launches the browser and
 * connects to it, and sends the first request.
 *
 * The extension is met on a named pipe whose name follows from the profile. There is a first attempt to
 * connect, and after it, each 2 seconds after the end of the one before, up to 10 more for time-out 0,
 * otherwise up to half the time-out's number, at least one. An attempt that fails has the browser launched,
 * once, unless it is the last, and whatever the reason: nobody serves the pipe, or it stays busy for five
 * seconds; the start lock cannot be had; the library's own pipe cannot be made; the extension hangs up. With
 * two exceptions:
 *   - An extension that is there, and does not take the connection's name or connect back in time, ends the
 *     start. On the last attempt that counts as attempts used up.
 *   - For Firefox without -fxProfile: when nobody serves the pipe, and a running Firefox holds the profile,
 *     nothing is launched and the attempts go on.
 * With -fxProfile the library does not look whether a running Firefox holds the profile: when nobody serves
 * the pipe, it launches a second one. Close a Firefox without the extension first.
 *
 * @param context         the context's number. It should have no browser: one that it has is left alone,
 *                        open and beyond reach
 * @param browser         "fx" for Firefox, "cr" for Chrome, in these letters; not NULL. Any other text has
 *                        neither profile nor pipe: a program at browserPath is launched all the same, and
 *                        ended when the attempts are used up
 * @param options         the options, written like a command line; NULL for none. Names are compared in
 *                        their exact letters. A value stands behind a blank or an equals sign, in double
 *                        quotes if it has blanks, and behind an equals sign if it begins with a hyphen; of
 *                        an option given twice the last value counts; unknown ones are ignored. Values are
 *                        not checked further and go to the browser's command line:
 *                        -fxProfile NAME     the Firefox profile. Without it Firefox chooses one, and the
 *                                            library goes by the one that profiles.ini marks with Default=1;
 *                                            Firefox 67 and later may choose another
 *                        -crUserDataDir DIR  Chrome's user data directory; without it Chrome's own
 *                        -profiler           plays ask for profiler data, see kx_GetPerformance()
 *                        With the one of the first two that is the browser's, and a value that is not empty,
 *                        a small start page is written to the folder that TEMP names
 * @param browserPath     the browser's program, as a whole path with backslashes: it is started in the folder
 *                        before the last of them, and without any the launch fails (267). NULL for
 *                        "c:\Program Files\Mozilla Firefox\firefox.exe", or Chrome in the user's local
 *                        application data. An empty text is no path, and the launch fails
 * @param port            0; every other value is refused
 * @param openNewBrowser  not 0 asks the extension for a new browser window
 * @param timeout         seconds; 0 waits for the extension without a limit, a negative value counts as 600.
 *                        It also sets the number of attempts
 * @return KX_OK when the extension answered the first request, whatever it said; KX_TIMEOUT when the
 *         extension was there, and did not take the connection's name or connect back in time, and an
 *         attempt was left; the error number of a launch that failed: a positive Windows error number (2: no
 *         such program), or KX_FAILED when the start page could not be written; KX_FAILED when browser is
 *         NULL, port is not 0, the first request failed, or the attempts are used up: the number is then
 *         that of the last attempt, KX_ERROR_TIMEOUT among others; KX_NO_CONTEXT. A start that fails, other
 *         than by browser or port, leaves its error number and text in the context, which can be used again
 *         at once.
 *
 * A start that fails ends the browser that it launched, as kx_Exit() with time-out 0 does. When there is no
 * connection, that means ending the launched process: a browser that has handed over to another process by
 * then, as Firefox and Chrome can on Windows, stays (docs/windows.md).
 *
 * Threads: one at a time per context; several contexts may be started in parallel. Starts with the same
 * browser, profile and user wait for one another, in all processes of one Windows session, up to ten minutes
 * at each attempt, until the one before has opened its server pipe or has failed; so do all starts with
 * -fxProfile or -crUserDataDir, and all runner starts, of one browser and user, whatever their profile.
 *
 * Blocks: at every attempt for the wait for such other starts, then up to twice the time-out, longer while
 * the server pipe is busy; 2 seconds between each two attempts; then for the first request, as kx_Play().
 * When it fails, also for the end of the browser that it launched.
 */
KX_API int kx_Init(int context, const char* browser, const char* options, const char* browserPath, int port,
                   int openNewBrowser, int timeout);

/* ---- What is done with a browser --------------------------------------------------------------------- */

/**
 * Sets a macro variable for the next play. Variables gather until a play is answered, which uses them up,
 * whether its macro succeeds or not; a play that gets no answer keeps them.
 *
 * @param context  a context with a browser
 * @param name     the variable's name; not NULL. It is sent as it is: a double quote, a backslash or a
 *                 control character in it spoils the request
 * @param value    the variable's value; not NULL. Replaces an earlier one of that name
 * @return KX_OK, KX_FAILED, KX_NO_CONTEXT
 *
 * Threads: one at a time per context. Blocks: never.
 */
KX_API int kx_SetVar(int context, const char* name, const char* value);

/**
 * Plays a macro. What the last play left (extracts, performance entries, profiler data) is forgotten first.
 *
 * @param context  a context with a browser
 * @param macro    the macro's text; not NULL
 * @param timeout  seconds for each single write and read; 0 waits for ever, a negative value counts as 600
 * @return KX_OK when the browser answered with error number 1; KX_FAILED when it answered with another one,
 *         or did not answer: the context's error number and text tell; KX_NO_CONTEXT
 *
 * An answer that cannot be read leaves the error number and text as they were, those of an answer or of a
 * failure, and the result follows from them.
 *
 * Threads: one at a time per context. Blocks: for the request's writes and the answer's reads, each up to
 * the time-out. An answer that comes in many pieces may therefore take longer.
 */
KX_API int kx_Play(int context, const char* macro, int timeout);

/**
 * Shows a message to the user, in the browser.
 *
 * @param context  a context with a browser
 * @param message  the message; not NULL
 * @param timeout  as for kx_Play()
 * @return KX_OK when the browser answered, whatever it said; KX_FAILED when it did not; KX_NO_CONTEXT
 *
 * Threads and blocking: as kx_Play().
 */
KX_API int kx_Display(int context, const char* message, int timeout);

/**
 * Has the browser save a picture of itself.
 *
 * @param context  a context with a browser
 * @param path     the file to write, as the browser's process understands it; not NULL
 * @param type     KX_SCREENSHOT_PAGE for the web page; every other value for the whole browser
 * @param timeout  as for kx_Play()
 * @return KX_OK when the browser answered, whatever it said; KX_FAILED when it did not; KX_NO_CONTEXT
 *
 * The log entry of a missing browser names kx_GetLastExtract(). Threads and blocking: as kx_Play().
 */
KX_API int kx_TakeBrowserScreenshot(int context, const char* path, int type, int timeout);

/* ---- What the last play left ------------------------------------------------------------------------- */

/**
 * Copies what the last play extracted, and what later answers to other requests have added.
 *
 * @param context  a context with a browser
 * @param buffer   receives the text and a terminating zero; NULL only asks for the size
 * @param size     bytes available at buffer; a negative size counts as unlimited
 * @param index    1 and up: that extract; 0 or -1: all of them, with "[EXTRACT]" between each two; any
 *                 other number, or one beyond the last: the empty text
 * @return bytes needed or copied, the terminating zero included; 0 for an empty text, with a zero written
 *         to a buffer that is given; KX_FAILED if size is too small, with buffer untouched and nothing
 *         logged (a size of 0 is too small even for the empty text); KX_NO_CONTEXT
 *
 * Threads: one at a time per context. Blocks: never.
 */
KX_API int kx_GetLastExtract(int context, char* buffer, int size, int index);

/**
 * Copies the profiler data of the last answer; the empty text if it brought none. Every play of a context
 * that kx_Init() started with -profiler asks for them. kxr_Init() does not look at -profiler: in the runner
 * family the switch on the browser's command line decides, which kxr_GetCommandLine() writes for Firefox. A
 * play that is not answered leaves none.
 *
 * @param context  a context with a browser
 * @param buffer   receives the text and a terminating zero; NULL only asks for the size
 * @param size     bytes available at buffer; a negative size counts as unlimited
 * @return bytes needed or copied, the terminating zero included (1 for an empty text); KX_FAILED if size is
 *         too small, with buffer untouched and nothing logged; KX_NO_CONTEXT
 *
 * Every answer replaces the data: read them before the next request. Threads: one at a time per context.
 * Blocks: never.
 */
KX_API int kx_GetPerformance(int context, char* buffer, int size);

/**
 * Copies one performance entry of the last play: a name and a value.
 *
 * @param context    a context with a browser
 * @param index      the entry's number, from 1
 * @param name       receives the name and a terminating zero; NULL only asks for its size
 * @param nameSize   bytes available at name; receives the size needed when name is NULL, and is left alone
 *                   otherwise; not NULL
 * @param value      receives the value and a terminating zero; NULL only asks for its size
 * @param valueSize  the same for value; not NULL
 * @return KX_OK; KX_BUFFER_TOO_SMALL if a buffer is too small: that buffer stays untouched, and when it is
 *         the name's, the value is not looked at; KX_FAILED if there is no such entry, or a size is NULL
 *         (not logged); KX_NO_CONTEXT
 *
 * Call it with two null buffers first to learn both sizes. A negative size counts as unlimited. The log
 * entry of a missing browser names kx_GetLastExtract(). Threads: one at a time per context. Blocks: never.
 */
KX_API int kx_GetLastPerformance(int context, int index, char* name, int* nameSize, char* value,
                                 int* valueSize);

/**
 * Gives the id of the browser process that kx_Init() launched. On Windows Firefox and Chrome can hand over
 * to another process and end: the id is then that of a process that is no more, see docs/windows.md.
 *
 * @param context  the context's number
 * @return the process id; 0 if the context attached to a browser that was running or that its host had
 *         started, and on every failure: no such context, no browser. The log has an entry of the failures.
 *
 * Threads: one at a time per context. Blocks: never.
 */
KX_API int kx_GetBrowserProcessId(int context);

/* ---- The end ----------------------------------------------------------------------------------------- */

/**
 * Closes the context's browser and frees the context for another start: asks the browser to exit, waits for
 * the process that its answer names, and terminates that process when it does not end in time, or cannot be
 * waited for. When the browser does not answer, the process that kx_Init() launched is terminated; a browser
 * that was attached to, or that has handed over to another process, is left running.
 *
 * @param context  a context with a browser
 * @param timeout  seconds. For the request: 0 waits for ever, a negative value counts as 600. For the wait
 *                 for the process: 0 counts as ten seconds
 * @return KX_OK, whatever became of the browser; KX_FAILED if the context has no browser, or, with the
 *         browser kept, if memory ran out; KX_NO_CONTEXT
 *
 * The error of the exit itself is gone with the browser's connection; the log has it. Threads: one at a
 * time per context. Blocks: for the request as kx_Play(), then for the process up to the time-out, then until
 * the browser has read or closed its connection.
 */
KX_API int kx_Exit(int context, int timeout);

/* ---- The runner family: the host starts the browser itself ------------------------------------------- */

/**
 * Builds the command-line arguments with which the host starts a browser, so that its extension serves the
 * pipe that kxr_Init() will look for.
 *
 * @param browser   "fx" or "cr", in these letters; not NULL
 * @param options   as for kx_Init(); not NULL. -runner is required, as is -fxProfile for "fx" (it may be
 *                  empty), and -crUserDataDir, not empty, for "cr". -profiler switches the profiler on for
 *                  "fx", and is not looked at for "cr"
 * @param buffer    receives the arguments, without the program, and a terminating zero; NULL only asks for
 *                  the size
 * @param size      bytes available at buffer; 0 and negative sizes count as unlimited: pass the real one
 * @param pageText  for "cr" the path of a start page of the host's own; NULL or empty for a generated one in
 *                  the folder that TEMP names, which is written on every call, also on those that only ask
 *                  for the size. Not looked at for "fx"
 * @return with buffer: KX_OK, or KX_BUFFER_TOO_SMALL with buffer untouched; with NULL: bytes needed, the
 *         terminating zero included; KX_FAILED if an argument or option is missing, the browser is unknown
 *         or the page could not be written
 *
 * Threads: any. Blocks: never, but for the writing of the page.
 */
KX_API int kxr_GetCommandLine(const char* browser, const char* options, char* buffer, int size,
                              const char* pageText);

/**
 * Binds a context to a browser that the host has started with the arguments of kxr_GetCommandLine():
 * connects to its extension and sends the first request. Never launches or ends a browser.
 *
 * @param context         the context's number. It should have no browser: one that it has is left alone,
 *                        open and beyond reach
 * @param browser         as for kxr_GetCommandLine()
 * @param options         the same options
 * @param openNewBrowser  not 0 asks the extension for a new browser window
 * @param timeout         seconds; a negative value counts as 600. Also the number of attempts: with n there
 *                        are up to n + 2, with 2 seconds between each two. With 0 there is one, which fails
 *                        at once when nobody serves the pipe: the browser has to be ready by then. An
 *                        extension that serves it is waited for without a limit
 * @return KX_OK when the extension answered the first request, whatever it said; KX_FAILED when it could
 *         not be reached or did not answer, or an argument or option is missing; KX_NO_CONTEXT. A start that
 *         fails, other than by an argument or option, leaves its error in the context: number -3 and
 *         "Connection timed out" when the attempts are used up, otherwise that of the connection (with
 *         time-out 0) or of the first request.
 *
 * Threads and blocking: as kx_Init(), but a start that fails leaves the browser as it is, without an exit
 * request.
 */
KX_API int kxr_Init(int context, const char* browser, const char* options, int openNewBrowser, int timeout);

/**
 * Asks the context's browser to exit and frees the context for another start. Does not wait for the
 * process, and terminates none.
 *
 * @param context  a context with a browser
 * @param timeout  as for kx_Play()
 * @return KX_OK when the browser answered; KX_TIMEOUT when it did not confirm, for whatever reason: the
 *         context then keeps its browser, and its error number and text tell; KX_FAILED if the context has
 *         no browser; KX_NO_CONTEXT
 *
 * Threads: one at a time per context. Blocks: as kx_Play(), then until the browser has read or closed its
 * connection.
 */
KX_API int kxr_Exit(int context, int timeout);

#ifdef __cplusplus
}
#endif

#endif /* KXTCP64_H */
