// Package kxtcp64 plays macros in Firefox or Chrome carrying the Korvex extension, through KXTCP64.dll.
//
//	browser, err := kxtcp64.Start(ctx, kxtcp64.Options{Profile: "work"})
//	if err != nil {
//		return err
//	}
//	defer browser.Close()
//	play, err := browser.Play(ctx, macro)
//
// A Browser has a context of the library and the browser of it, and Close ends both. Every error that comes from the
// library or the browser is an *Error. kxtcp64.h tells what the calls do.
//
// The deadline of a context.Context is the time-out of a call: what is left of it, rounded up to whole seconds, is how long
// each single write and read may last. Without a deadline a call waits without a limit. The library cannot break off a call.
// When a context is cancelled, the method returns at once, while the library's call goes on to its end; the next call of that
// Browser waits for it. When only the deadline has passed, the method returns as soon as the library has noticed, which is
// up to a second later.
//
// A Browser may be used by several goroutines; its calls wait for one another.
package kxtcp64

import (
	"context"
	"errors"
	"path/filepath"
	"runtime"
	"time"
)

// BrowserType is the kind of browser. The zero value is Firefox.
type BrowserType int

const (
	Firefox BrowserType = iota
	Chrome
)

// ScreenshotArea is what a picture shows.
type ScreenshotArea int

// Options of a start. The zero value attaches to the running Firefox of its default profile, or launches it. Values are
// quoted by this package; one that cannot be meant is refused before anything is started.
type Options struct {
	Browser BrowserType
	// Profile is Firefox's, by its name. Without it Firefox chooses one.
	Profile string
	// UserDataDir is Chrome's. Without it Chrome's own.
	UserDataDir string
	// Program is the browser's program; a relative path starts from the current folder. Without it the one in the usual place.
	Program string
	// Profiler has plays leave profiler data.
	Profiler bool
	// OpenNewBrowser asks the extension for a new browser window.
	OpenNewBrowser bool
	// AttachOnly takes only a browser that is running already; none is launched.
	AttachOnly bool
	// ExitTimeout is for Close, and for a Browser that is forgotten; ten seconds unless given.
	ExitTimeout time.Duration
	// Library is the DLL; without it the KXTCP64.dll that Windows finds, first in the program's own folder.
	Library *Library
}

// PerformanceEntry is a name and a value.
type PerformanceEntry struct {
	Name, Value string
}

// PlayResult is what a play left.
type PlayResult struct {
	// Extracts are in their order, empty ones included. One empty extract looks like none.
	Extracts    []string
	Performance []PerformanceEntry
	// ProfilerData is empty unless Options.Profiler asked for it.
	ProfilerData string
}

// Browser is one that was started or attached to.
type Browser struct {
	session   *session
	processID uint32
}

// Start attaches to the running browser of that profile, or launches it.
//
// The deadline also sets the number of attempts, see kx_Init().
func Start(ctx context.Context, options Options) (*Browser, error) {
	const call = "kx_Init"
	text, err := optionsText(call, options, false)
	if err != nil {
		return nil, err
	}
	program, err := programText(call, options)
	if err != nil {
		return nil, err
	}
	reason := ""
	if options.AttachOnly {
		reason = "no running browser serves the extension's pipe, and AttachOnly launches none"
	}
	name := zeroTerminated(browserName(options))
	return start(ctx, call, options, false, reason, func(s *session, seconds int32) int32 {
		return s.library.kx_Init(s.context, name, text, program, 0, flag(options.OpenNewBrowser), seconds)
	})
}

// RunnerArguments gives the arguments with which a host starts the browser's program itself. Options.Program and
// Options.AttachOnly are not looked at. page is Chrome's start page; with an empty one it is generated.
func RunnerArguments(options Options, page string) (string, error) {
	const call = "kxr_GetCommandLine"
	text, err := optionsText(call, options, true)
	if err != nil {
		return "", err
	}
	var pageText *byte
	if page != "" {
		if pageText, err = checkedText(call, "the page", page); err != nil {
			return "", err
		}
	}
	library, err := libraryOf(options)
	if err != nil {
		return "", err
	}
	name := zeroTerminated(browserName(options))
	return copied(call, func(buffer *byte, size int32) int32 {
		return library.kxr_GetCommandLine(name, text, buffer, size, pageText)
	})
}

// StartRunner attaches to a browser that was started with RunnerArguments. Close and Exit ask it to exit, and do not wait for
// its process. The context needs a deadline, which also sets the number of attempts.
func StartRunner(ctx context.Context, options Options) (*Browser, error) {
	const call = "kxr_Init"
	text, err := optionsText(call, options, true)
	if err != nil {
		return nil, err
	}
	if _, given := ctx.Deadline(); !given {
		return nil, refused(call, "a runner's start needs a context with a deadline, which is also the number of attempts")
	}
	name := zeroTerminated(browserName(options))
	return start(ctx, call, options, true, "", func(s *session, seconds int32) int32 {
		return s.library.kxr_Init(s.context, name, text, flag(options.OpenNewBrowser), seconds)
	})
}

// start has the library start a browser. reason is the error's text when a launch was tried that had to fail.
func start(ctx context.Context, call string, options Options, runner bool, reason string,
	init func(s *session, seconds int32) int32) (*Browser, error) {
	exitSeconds, err := secondsOf(call, options.ExitTimeout, 10*time.Second)
	if err != nil {
		return nil, err
	}
	library, err := libraryOf(options)
	if err != nil {
		return nil, err
	}
	session, err := newSession(library, runner, exitSeconds)
	if err != nil {
		return nil, err
	}
	var processID uint32
	err = session.do(ctx, call, anyCall, func(seconds int32) error {
		result := init(session, seconds)
		if result != int32(ResultOK) {
			if reason == "" || result < 0 {
				reason = session.errorText()
			}
			failure := &Error{call, int(result), session.errorNumber(), reason}
			session.destroy()
			return failure
		}
		if failure := session.failure(call, result); failure != nil {
			session.end()
			return failure
		}
		processID = uint32(library.kx_GetBrowserProcessId(session.context))
		return nil
	})
	if err != nil {
		// Also one that is there only after the context was cancelled.
		go session.forget()
		return nil, err
	}
	browser := &Browser{session, processID}
	runtime.SetFinalizer(browser, func(forgotten *Browser) { go forgotten.session.forget() })
	return browser, nil
}

// ProcessID is that of the process which was launched; 0 for a browser that was running.
func (b *Browser) ProcessID() uint32 {
	return b.processID
}

// SetVariable sets a variable for the next play.
func (b *Browser) SetVariable(ctx context.Context, name, value string) error {
	const call = "kx_SetVar"
	if hasQuoteBackslashOrControl(name) {
		return refused(call, "the variable's name holds a double quote, a backslash or a control character")
	}
	valueText, err := checkedText(call, "the variable's value", value)
	if err != nil {
		return err
	}
	s := b.session
	return s.do(ctx, call, aRequest, func(int32) error {
		if result := s.library.kx_SetVar(s.context, zeroTerminated(name), valueText); result != int32(ResultOK) {
			return withoutNumber(call, result)
		}
		return nil
	})
}

// Play plays a macro and gives all that it left; also with an error, when the macro has failed.
func (b *Browser) Play(ctx context.Context, macro string) (PlayResult, error) {
	const call = "kx_Play"
	text, err := checkedText(call, "the macro", macro)
	if err != nil {
		return PlayResult{}, err
	}
	s := b.session
	// Of the call's own: it may still be written to when this method has returned.
	left := make(chan PlayResult, 1)
	err = s.do(ctx, call, aRequest, func(seconds int32) error {
		failure := s.failure(call, s.library.kx_Play(s.context, text, seconds))
		played, readFailure := s.readBack()
		left <- played
		if failure == nil {
			return readFailure
		}
		return failure
	})
	select {
	case played := <-left:
		return played, err
	default:
		return PlayResult{}, err
	}
}

// Show shows a message to the user, in the browser.
func (b *Browser) Show(ctx context.Context, message string) error {
	const call = "kx_Display"
	text, err := checkedText(call, "the message", message)
	if err != nil {
		return err
	}
	s := b.session
	return s.do(ctx, call, aRequest, func(seconds int32) error {
		return s.failure(call, s.library.kx_Display(s.context, text, seconds))
	})
}

// Screenshot has the browser save a picture to a file, as the browser's process understands the path.
func (b *Browser) Screenshot(ctx context.Context, file string, area ScreenshotArea) error {
	const call = "kx_TakeBrowserScreenshot"
	text, err := checkedText(call, "the path", file)
	if err != nil {
		return err
	}
	s := b.session
	return s.do(ctx, call, aRequest, func(seconds int32) error {
		return s.failure(call, s.library.kx_TakeBrowserScreenshot(s.context, text, int32(area), seconds))
	})
}

// Exit closes the browser, also one that was attached to. When it gives an error, the browser is still there, and may be
// closed again.
func (b *Browser) Exit(ctx context.Context) error {
	s := b.session
	err := s.do(ctx, s.exitCall(), anExit, s.exit)
	if err == nil {
		runtime.SetFinalizer(b, nil)
	}
	return err
}

// Close is Exit with Options.ExitTimeout.
func (b *Browser) Close() error {
	err := b.session.close()
	if err == nil {
		runtime.SetFinalizer(b, nil)
	}
	return err
}

// Error is what the library or the browser says of a call that failed.
type Error struct {
	// Call is the function of kxtcp64.h, or what this package was asked for.
	Call string
	// Result is that function's: ResultFailed when it was not called, ResultOK when the browser answered with an error to a
	// start, a message or a screenshot.
	Result int
	// Number is the library's error number; NumberNone when the arguments were wrong.
	Number int
	// Text is the library's.
	Text string
}

func (e *Error) Error() string {
	return e.Call + " failed: result " + decimal(e.Result) + ", error " + decimal(e.Number) + ": " + e.Text
}

// Is tells that a call which has timed out has passed its context's deadline.
func (e *Error) Is(target error) bool {
	return target == context.DeadlineExceeded && (e.startHasTimedOut() || e.requestHasTimedOut())
}

// startHasTimedOut knows such a start by its result: a launch that failed has Windows' error number, of which 3 gives the
// number of a time-out, too, and an answer has ResultOK.
func (e *Error) startHasTimedOut() bool {
	return (e.Call == "kx_Init" || e.Call == "kxr_Init") && e.Result < 0 && e.Number == NumberTimeout
}

func (e *Error) requestHasTimedOut() bool {
	return e.Number == NumberTimeout && (e.Text == "Error while sending request" || e.Text == "Error while receiving response")
}

func refused(call, text string) *Error {
	return &Error{call, ResultFailed, NumberNone, text}
}

// withoutNumber is for functions that leave the error number and text alone: theirs would tell of another call.
func withoutNumber(call string, result int32) *Error {
	return &Error{call, int(result), NumberNone, "the log tells more"}
}

// What a call needs: a request an answer of its own, an exit nothing.
type need int

const (
	anyCall need = iota
	aRequest
	anExit
)

// session is a context of the library, and how it is ended.
type session struct {
	library     *Library
	runner      bool
	exitSeconds int32
	// Holds one token: who has it may call.
	turn chan struct{}
	// What follows belongs to who has the token.
	context int32
	// Why requests and answers no longer go together; nil while they do.
	outOfStep *Error
}

func newSession(library *Library, runner bool, exitSeconds int32) (*session, error) {
	number := library.kx_ContextCreate()
	if number < 0 {
		return nil, &Error{"kx_ContextCreate", int(number), NumberNone, "no memory for a context"}
	}
	return &session{library: library, runner: runner, exitSeconds: exitSeconds, turn: make(chan struct{}, 1), context: number}, nil
}

// do waits for its turn and has the call made on a goroutine of its own, which keeps the turn until the library returns.
func (s *session) do(ctx context.Context, call string, needed need, action func(seconds int32) error) error {
	select {
	case <-ctx.Done():
		return ctx.Err()
	default:
	}
	select {
	case s.turn <- struct{}{}:
	case <-ctx.Done():
		return ctx.Err()
	}
	done := make(chan error, 1)
	go func() {
		defer func() { <-s.turn }()
		done <- s.doInTurn(ctx, call, needed, action)
	}()
	select {
	case err := <-done:
		return err
	case <-ctx.Done():
		if errors.Is(ctx.Err(), context.Canceled) {
			return ctx.Err()
		}
		return <-done
	}
}

func (s *session) doInTurn(ctx context.Context, call string, needed need, action func(seconds int32) error) error {
	if s.context < 0 && needed == anExit {
		return nil
	}
	if s.context < 0 {
		return &Error{call, ResultNoContext, NumberNone, "the browser was closed"}
	}
	if needed == aRequest && s.outOfStep != nil {
		return &Error{call, ResultFailed, s.outOfStep.Number, s.outOfStep.Text}
	}
	seconds := int32(0)
	if deadline, given := ctx.Deadline(); given {
		seconds = wholeSeconds(time.Until(deadline))
	}
	return action(seconds)
}

// failure is what a call and the browser's answer to it come to; nil when both tell of success.
func (s *session) failure(call string, result int32) error {
	number := s.errorNumber()
	if result == int32(ResultOK) && number == NumberSuccess {
		return nil
	}
	failure := &Error{call, int(result), number, s.errorText()}
	const remedy = "; close this browser and start another"
	if failure.requestHasTimedOut() {
		s.outOfStep = &Error{Number: number,
			Text: "an earlier request has timed out, and its late answer would count as the next one's" + remedy}
	} else if number == NumberGeneral && failure.Text == "Error in response processing" {
		s.outOfStep = &Error{Number: number,
			Text: "an earlier answer was not valid, and what is left of it would spoil the next one" + remedy}
	}
	return failure
}

func (s *session) errorNumber() int {
	return int(s.library.kx_GetLastErrorNumber(s.context))
}

func (s *session) errorText() string {
	text, _ := copied("kx_GetLastErrorText", func(buffer *byte, size int32) int32 {
		return s.library.kx_GetLastErrorText(s.context, buffer, size)
	})
	return text
}

func (s *session) exitCall() string {
	if s.runner {
		return "kxr_Exit"
	}
	return "kx_Exit"
}

func (s *session) callExit(seconds int32) int32 {
	if s.runner {
		return s.library.kxr_Exit(s.context, seconds)
	}
	return s.library.kx_Exit(s.context, seconds)
}

func (s *session) exit(seconds int32) error {
	if result := s.callExit(seconds); result != int32(ResultOK) {
		return &Error{s.exitCall(), int(result), s.errorNumber(), s.errorText()}
	}
	s.destroy()
	return nil
}

// end closes a browser of whose end nobody hears; a failure is in the library's log.
func (s *session) end() {
	s.callExit(s.exitSeconds)
	s.destroy()
}

// forget does so when its turn has come.
func (s *session) forget() {
	s.do(context.Background(), s.exitCall(), anExit, func(int32) error {
		s.end()
		return nil
	})
}

// close waits for the calls before it, however long they take.
func (s *session) close() error {
	return s.do(context.Background(), s.exitCall(), anExit, func(int32) error { return s.exit(s.exitSeconds) })
}

// destroy does so once: the library gives the number of a destroyed context to the next one.
func (s *session) destroy() {
	s.library.kx_ContextDestroy(s.context)
	s.context = -1
}

func (s *session) readBack() (PlayResult, error) {
	var left PlayResult
	var err error
	if left.Extracts, err = s.extracts(); err != nil {
		return left, err
	}
	if left.Performance, err = s.performance(); err != nil {
		return left, err
	}
	left.ProfilerData, err = copied("kx_GetPerformance", func(buffer *byte, size int32) int32 {
		return s.library.kx_GetPerformance(s.context, buffer, size)
	})
	return left, err
}

// extracts knows the last one from the size of all, joined: an empty extract has the size that one beyond the last has.
func (s *session) extracts() ([]string, error) {
	const call = "kx_GetLastExtract"
	const separator = "[EXTRACT]"
	whole := s.library.kx_GetLastExtract(s.context, nil, 0, 0)
	if whole < 0 {
		return nil, withoutNumber(call, whole)
	}
	var found []string
	for length := 0; whole > 0 && (len(found) == 0 || length+1 < int(whole)); {
		index := int32(len(found) + 1)
		extract, err := copied(call, func(buffer *byte, size int32) int32 {
			return s.library.kx_GetLastExtract(s.context, buffer, size, index)
		})
		if err != nil {
			return found, err
		}
		if len(found) > 0 {
			length += len(separator)
		}
		length += len(extract)
		found = append(found, extract)
	}
	return found, nil
}

func (s *session) performance() ([]PerformanceEntry, error) {
	const call = "kx_GetLastPerformance"
	var found []PerformanceEntry
	for {
		index := int32(len(found) + 1)
		var nameSize, valueSize int32
		if s.library.kx_GetLastPerformance(s.context, index, nil, &nameSize, nil, &valueSize) != int32(ResultOK) {
			return found, nil
		}
		name, value := make([]byte, nameSize), make([]byte, valueSize)
		result := s.library.kx_GetLastPerformance(s.context, index, &name[0], &nameSize, &value[0], &valueSize)
		if result != int32(ResultOK) {
			return found, withoutNumber(call, result)
		}
		found = append(found, PerformanceEntry{string(name[:len(name)-1]), string(value[:len(value)-1])})
	}
}

// copied asks for the size, which counts the zero at the end, then for the text.
func copied(call string, copyTo func(buffer *byte, size int32) int32) (string, error) {
	size := copyTo(nil, 0)
	if size < 0 {
		return "", withoutNumber(call, size)
	}
	if size <= 1 {
		return "", nil
	}
	buffer := make([]byte, size)
	if result := copyTo(&buffer[0], size); result < 0 {
		return "", withoutNumber(call, result)
	}
	return string(buffer[:size-1]), nil
}

// programText is a whole path with backslashes; nil for the usual place. The empty one launches nothing.
func programText(call string, options Options) (*byte, error) {
	if options.AttachOnly && options.Program != "" {
		return nil, refused(call, "AttachOnly launches no program, so Program means nothing with it")
	}
	if options.AttachOnly {
		return zeroTerminated(""), nil
	}
	if options.Program == "" {
		return nil, nil
	}
	if _, err := checkedText(call, "Program", options.Program); err != nil {
		return nil, err
	}
	whole, err := filepath.Abs(options.Program)
	if err != nil {
		return nil, refused(call, "Program is no path: "+options.Program)
	}
	return zeroTerminated(whole), nil
}
