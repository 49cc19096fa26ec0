package kxtcp64

import (
	"bufio"
	"context"
	"crypto/md5"
	"errors"
	"fmt"
	"io"
	"math"
	"os"
	"os/exec"
	"path/filepath"
	"runtime"
	"strings"
	"sync"
	"syscall"
	"testing"
	"time"
	"unsafe"
)

// run.sh sets KX_DLL and KX_SIMULATOR.
var library = func() *Library {
	library, err := Load(os.Getenv("KX_DLL"))
	if err != nil {
		panic(err)
	}
	return library
}()

var background = context.Background()

// world is a folder with the simulator, and a profile that no other test has.
type world struct {
	*testing.T
	folder, program, profile string
}

var worlds int

func newWorld(t *testing.T, script ...string) world {
	worlds++
	folder := t.TempDir()
	program, err := os.ReadFile(os.Getenv("KX_SIMULATOR"))
	at := world{t, folder, filepath.Join(folder, "browser.exe"), fmt.Sprintf("go %d %d", os.Getpid(), worlds)}
	at.noError(err)
	at.noError(os.WriteFile(at.program, program, 0o755))
	script = append([]string{"record " + folder + `\record`}, script...)
	at.noError(os.WriteFile(filepath.Join(folder, "browser.script"), []byte(strings.Join(script, "\n")), 0o644))
	return at
}

func (at world) noError(err error) {
	at.Helper()
	if err != nil {
		at.Fatal(err)
	}
}

func (at world) recorded(name string) string {
	at.Helper()
	text, err := os.ReadFile(filepath.Join(at.folder, "record", name))
	at.noError(err)
	return string(text)
}

func (at world) requests() int {
	names, _ := filepath.Glob(filepath.Join(at.folder, "record", "request-*"))
	return len(names)
}

// run starts the simulator as a user starts a browser, and waits until hosts can connect. The result waits for its end.
func (at world) run(commandLine string) func() {
	at.Helper()
	command := exec.Command(at.program)
	command.SysProcAttr = &syscall.SysProcAttr{CmdLine: `browser.exe --verbose ` + commandLine}
	output, err := command.StdoutPipe()
	at.noError(err)
	at.noError(command.Start())
	ended := make(chan struct{})
	at.Cleanup(func() {
		command.Process.Kill()
		<-ended
	})
	serving := make(chan struct{})
	go func() {
		defer close(ended)
		lines := bufio.NewScanner(output)
		for lines.Scan() {
			if strings.TrimSpace(lines.Text()) == "serving" {
				close(serving)
			}
		}
		io.Copy(io.Discard, output)
		command.Wait()
	}()
	select {
	case <-serving:
	case <-ended:
		at.Fatal("the simulator does not serve its pipe")
	}
	return func() { <-ended }
}

// attach does not take the two seconds that the library gives a browser which it has launched.
func attach(t *testing.T, script ...string) (world, *Browser) {
	t.Helper()
	at := newWorld(t, script...)
	at.run(fmt.Sprintf(`--pipe=\\.\pipe\kx-fx-%x.runner`, md5.Sum([]byte(at.profile))))
	browser, err := Start(background, Options{Profile: at.profile, AttachOnly: true, Library: library})
	at.noError(err)
	t.Cleanup(func() { browser.Close() })
	return at, browser
}

func within(t *testing.T, time time.Duration) context.Context {
	ctx, cancel := context.WithTimeout(background, time)
	t.Cleanup(cancel)
	return ctx
}

// assertError compares with call, result and number, and looks for the text.
func assertError(t *testing.T, err error, call string, result, number int, text string) {
	t.Helper()
	var failure *Error
	if !errors.As(err, &failure) {
		t.Fatalf("%v is no *Error", err)
	}
	if failure.Call != call || failure.Result != result || failure.Number != number || !strings.Contains(failure.Text, text) {
		t.Errorf("%#v, wanted %s, %d, %d, %q", failure, call, result, number, text)
	}
}

func assertExtracts(t *testing.T, play PlayResult, wanted ...string) {
	t.Helper()
	if fmt.Sprintf("%q", play.Extracts) != fmt.Sprintf("%q", wanted) {
		t.Errorf("%q, wanted %q", play.Extracts, wanted)
	}
}

// event is what a script of the simulator can wait for.
type event struct {
	name   string
	handle uintptr
}

var kernel = syscall.NewLazyDLL("kernel32.dll")

func newEvent(t *testing.T) event {
	worlds++
	name := fmt.Sprintf(`Local\go-%d-%d`, os.Getpid(), worlds)
	text, _ := syscall.UTF16PtrFromString(name)
	handle, _, _ := kernel.NewProc("CreateEventW").Call(0, 1, 0, uintptr(unsafe.Pointer(text)))
	t.Cleanup(func() { syscall.CloseHandle(syscall.Handle(handle)) })
	return event{name, handle}
}

func (e event) set() {
	kernel.NewProc("SetEvent").Call(e.handle)
}

func (e event) wait() {
	syscall.WaitForSingleObject(syscall.Handle(e.handle), syscall.INFINITE)
}

func TestAnErrorHasCallResultNumberAndText(t *testing.T) {
	_, browser := attach(t, "on show result -8 There is no window")

	play, err := browser.Play(background, "extract first\nperformance load 1\nfail -50 There is no such button")

	assertError(t, err, "kx_Play", -1, -50, "There is no such button")
	if err.Error() != "kx_Play failed: result -1, error -50: There is no such button" {
		t.Error(err)
	}
	assertExtracts(t, play, "first")
	if len(play.Performance) != 1 || play.Performance[0] != (PerformanceEntry{"load", "1"}) {
		t.Error(play.Performance)
	}
	assertError(t, browser.Show(background, "Hello"), "kx_Display", 0, -8, "There is no window")
	// The extension's own number; no time has run out, and nothing is refused.
	_, err = browser.Play(background, "fail -3 The page took too long")
	assertError(t, err, "kx_Play", -1, NumberTimeout, "The page took too long")
	if errors.Is(err, context.DeadlineExceeded) {
		t.Error("this was no deadline")
	}
	_, err = browser.Play(background, "")
	if err != nil {
		t.Error(err)
	}
}

func TestAStartWhoseAnswerIsAnErrorIsClosed(t *testing.T) {
	at := newWorld(t, "on init result -7 Too old")
	ended := at.run(fmt.Sprintf(`--pipe=\\.\pipe\kx-fx-%x.runner`, md5.Sum([]byte(at.profile))))

	_, err := Start(background, Options{Profile: at.profile, AttachOnly: true, Library: library})

	assertError(t, err, "kx_Init", 0, -7, "Too old")
	ended()
}

func TestALaunchThatFailsLeavesNoContext(t *testing.T) {
	_, err := Start(background, Options{Profile: "go", Program: `C:\none.exe`, Library: library})

	assertError(t, err, "kx_Init", 2, -2, "none.exe doesn't exists")
	context := library.kx_ContextCreate()
	library.kx_ContextDestroy(context)
	for tries := 0; context != 0 && tries < 1000; tries++ { // it goes on a goroutine of its own
		runtime.Gosched()
		time.Sleep(time.Millisecond)
		context = library.kx_ContextCreate()
		library.kx_ContextDestroy(context)
	}
	if context != 0 {
		t.Error(context)
	}
}

func TestAnAttachLaunchesNothing(t *testing.T) {
	_, err := Start(within(t, time.Second), Options{Profile: "go nobody", AttachOnly: true, Library: library})

	assertError(t, err, "kx_Init", 3, -3, "no running browser serves")
	if errors.Is(err, context.DeadlineExceeded) {
		t.Error("the number is that of Windows' error 3")
	}
}

func TestAStartThatTimesOutHasPassedItsDeadline(t *testing.T) {
	at := newWorld(t, "on handshake hold")
	at.run(fmt.Sprintf(`--pipe=\\.\pipe\kx-fx-%x.runner`, md5.Sum([]byte(at.profile))))
	_, notConnected := Start(within(t, time.Second), Options{Profile: at.profile, AttachOnly: true, Library: library})
	assertError(t, notConnected, "kx_Init", ResultTimeout, NumberTimeout, "Failed to establish connection")

	_, nobody := StartRunner(within(t, time.Second), Options{Profile: "go nobody", Library: library})
	assertError(t, nobody, "kxr_Init", ResultFailed, NumberTimeout, "Connection timed out")

	for _, err := range []error{notConnected, nobody} {
		if !errors.Is(err, context.DeadlineExceeded) {
			t.Error("the deadline has passed: ", err)
		}
	}
}

func TestAnAnswerToAStartWithTheNumberOfATimeOutIsNoDeadline(t *testing.T) {
	at := newWorld(t, "on init result -3 Too slow")
	at.run(fmt.Sprintf(`--pipe=\\.\pipe\kx-fx-%x.runner`, md5.Sum([]byte(at.profile))))

	_, err := Start(background, Options{Profile: at.profile, AttachOnly: true, Library: library})

	assertError(t, err, "kx_Init", ResultOK, NumberTimeout, "Too slow")
	if errors.Is(err, context.DeadlineExceeded) {
		t.Error("this was no deadline")
	}
}

func TestAfterATimeOutRequestsAreRefusedWithTheRemedy(t *testing.T) {
	at, browser := attach(t, "on play 1 no-reply")

	_, err := browser.Play(within(t, time.Millisecond), "extract late")

	assertError(t, err, "kx_Play", -1, NumberTimeout, "receiving")
	if !errors.Is(err, context.DeadlineExceeded) {
		t.Error("the deadline has passed")
	}
	_, err = browser.Play(background, "")
	for call, err := range map[string]error{"kx_Play": err, "kx_SetVar": browser.SetVariable(background, "a", "b"),
		"kx_Display":               browser.Show(background, ""),
		"kx_TakeBrowserScreenshot": browser.Screenshot(background, "a.png", ScreenshotPage)} {
		assertError(t, err, call, -1, NumberTimeout, "timed out")
		assertError(t, err, call, -1, NumberTimeout, "close this browser and start another")
	}
	if at.requests() != 2 {
		t.Error("more than start and play was sent")
	}
	at.noError(browser.Close())
}

func TestAfterAnAnswerThatIsNotValidRequestsAreRefused(t *testing.T) {
	_, browser := attach(t, "on play 1 reply {]")
	_, err := browser.Play(background, "")
	assertError(t, err, "kx_Play", -1, NumberGeneral, "Error in response processing")

	_, err = browser.Play(background, "")

	assertError(t, err, "kx_Play", -1, NumberGeneral, "an earlier answer was not valid")
}

func TestACancelledCallReturnsAtOnceAndTheNextOneWaitsForItsEnd(t *testing.T) {
	playing, answer := newEvent(t), newEvent(t)
	_, browser := attach(t, "on play 1 set-event "+playing.name, "on play 1 wait-event "+answer.name)
	ctx, cancel := context.WithCancel(background)
	go func() {
		playing.wait()
		cancel()
	}()

	_, err := browser.Play(ctx, "extract first")

	if !errors.Is(err, context.Canceled) {
		t.Fatal(err)
	}
	impatient, give := context.WithCancel(background)
	give()
	if _, err = browser.Play(impatient, "extract never"); !errors.Is(err, context.Canceled) {
		t.Error(err)
	}
	answer.set()
	play, err := browser.Play(background, "extract second")
	if err != nil {
		t.Fatal(err)
	}
	assertExtracts(t, play, "second")
}

func TestAStartThatIsCancelledClosesItsBrowserWhenItIsThere(t *testing.T) {
	answer, initialised := newEvent(t), newEvent(t)
	at := newWorld(t, "on init set-event "+initialised.name, "on init wait-event "+answer.name)
	ended := at.run(fmt.Sprintf(`--pipe=\\.\pipe\kx-fx-%x.runner`, md5.Sum([]byte(at.profile))))
	ctx, cancel := context.WithCancel(background)
	go func() {
		initialised.wait()
		cancel()
	}()

	_, err := Start(ctx, Options{Profile: at.profile, AttachOnly: true, Library: library})

	if !errors.Is(err, context.Canceled) {
		t.Fatal(err)
	}
	answer.set()
	ended()
}

func TestCallsOfSeveralGoroutinesWaitForOneAnother(t *testing.T) {
	_, browser := attach(t, "on play chunk 20")
	var all sync.WaitGroup
	for number := 0; number < 4; number++ {
		name := fmt.Sprint("goroutine ", number)
		all.Add(1)
		go func() {
			defer all.Done()
			for round := 0; round < 5; round++ {
				play, err := browser.Play(background, "extract "+name)
				if err != nil {
					t.Error(err)
				}
				assertExtracts(t, play, name)
			}
		}()
	}
	all.Wait()
}

func TestABrowserIsClosedByCloseAndWhenItIsForgotten(t *testing.T) {
	at, browser := attach(t)
	at.noError(browser.Close())
	at.noError(browser.Close())
	if !strings.Contains(at.recorded("request-1-2.bin"), `"exit"`) {
		t.Error("no exit was sent")
	}
	_, err := browser.Play(background, "")
	assertError(t, err, "kx_Play", ResultNoContext, NumberNone, "the browser was closed")

	at = newWorld(t)
	ended := at.run(fmt.Sprintf(`--pipe=\\.\pipe\kx-fx-%x.runner`, md5.Sum([]byte(at.profile))))
	_, err = Start(background, Options{Profile: at.profile, AttachOnly: true, Library: library})
	at.noError(err)
	gone := make(chan struct{})
	go func() {
		ended()
		close(gone)
	}()
	for {
		runtime.GC()
		select {
		case <-gone:
			return
		case <-time.After(10 * time.Millisecond):
		}
	}
}

func TestALaunchedBrowserHasTheOptionsAndAProcess(t *testing.T) {
	at := newWorld(t)
	at.profile = "-my a=b -runner " + at.profile
	browser, err := Start(background, Options{Profile: at.profile, Program: at.program, Library: library})
	at.noError(err)
	defer browser.Close()

	if browser.ProcessID() == 0 {
		t.Error("it was launched")
	}
	if !strings.Contains(at.recorded("command-line.txt"), `-P "`+at.profile+`"`) {
		t.Error(at.recorded("command-line.txt"))
	}
	attached, err := Start(background, Options{Profile: at.profile, AttachOnly: true, Library: library})
	at.noError(err)
	if attached.ProcessID() != 0 {
		t.Error("this one was not")
	}
	attached.Close()
}

func TestARunnersBrowser(t *testing.T) {
	at := newWorld(t, "on exit 1 no-reply")
	options := Options{Profile: at.profile, Library: library}
	arguments, err := RunnerArguments(options, "")
	at.noError(err)
	ended := at.run(arguments)
	browser, err := StartRunner(within(t, time.Minute), options)
	at.noError(err)
	play, err := browser.Play(background, "extract here")
	at.noError(err)
	assertExtracts(t, play, "here")

	assertError(t, browser.Exit(within(t, time.Second)), "kxr_Exit", ResultTimeout, NumberTimeout, "receiving")
	at.noError(browser.Exit(background))
	ended()

	chrome := Options{Browser: Chrome, UserDataDir: `C:\my data`, Library: library}
	arguments, err = RunnerArguments(chrome, `C:\page.html`)
	at.noError(err)
	if !strings.HasPrefix(arguments, `--user-data-dir="C:\my data" file://C:\page.html?pipe=`) {
		t.Error(arguments)
	}
	_, err = StartRunner(background, options)
	assertError(t, err, "kxr_Init", -1, 0, "needs a context with a deadline")
}

func TestBytesThatAreNoUTF8AreKept(t *testing.T) {
	_, browser := attach(t, `on play extract \xff`, "on play extract next")

	play, err := browser.Play(background, "")

	if err != nil {
		t.Fatal(err)
	}
	assertExtracts(t, play, "\xff", "next")
}

func TestOptionsThatCannotBeMeantAreRefused(t *testing.T) {
	for text, options := range map[string]Options{
		"double quote":      {Profile: `a"b`},
		"control character": {Profile: "a\nb"},
		"ends in":           {Browser: Chrome, UserDataDir: `C:\a\`},
		"is for Chrome":     {UserDataDir: `C:\a`},
		"is for Firefox":    {Browser: Chrome, Profile: "a"},
		"Firefox or Chrome": {Browser: 7},
		"means nothing":     {AttachOnly: true, Program: "a.exe"},
		"zero character":    {Program: "a\x00b"},
		"above zero":        {ExitTimeout: -time.Second},
	} {
		_, err := Start(background, options)
		assertError(t, err, "kx_Init", -1, 0, text)
	}
	_, err := StartRunner(background, Options{})
	assertError(t, err, "kxr_Init", -1, 0, "needs a Profile")
}

func TestTextsThatWouldArriveCutOrSpoilTheRequestAreRefused(t *testing.T) {
	at, browser := attach(t)
	for _, name := range []string{`a"b`, `a\b`, "a\tb", "a\x00b"} {
		assertError(t, browser.SetVariable(background, name, ""), "kx_SetVar", -1, 0, "name holds")
	}
	assertError(t, browser.SetVariable(background, "a", "a\x00b"), "kx_SetVar", -1, 0, "zero character")
	_, err := browser.Play(background, "a\x00b")
	assertError(t, err, "kx_Play", -1, 0, "zero character")
	assertError(t, browser.Show(background, "\x00"), "kx_Display", -1, 0, "zero character")
	assertError(t, browser.Screenshot(background, "\x00", ScreenshotPage), "kx_TakeBrowserScreenshot", -1, 0, "zero character")
	if at.requests() != 1 {
		t.Error("more than the start was sent")
	}
}

func TestAFileThatIsNotTheLibrary(t *testing.T) {
	_, err := Load(`C:\none.dll`)
	assertError(t, err, "kxtcp64.Load", -1, 0, "none.dll")
	_, err = Load("kernel32.dll")
	assertError(t, err, "kxtcp64.Load", -1, 0, "kx_ContextCreate")
	_, err = Load("a\x00b")
	assertError(t, err, "kxtcp64.Load", -1, 0, "zero character")
}

func TestTimesAreRoundedUpToWholeSeconds(t *testing.T) {
	for given, wanted := range map[time.Duration]int32{
		-time.Second: 1, 0: 1, time.Nanosecond: 1, time.Second: 1, 1001 * time.Millisecond: 2, math.MaxInt64: math.MaxInt32} {
		if seconds := wholeSeconds(given); seconds != wanted {
			t.Errorf("%v: %d, wanted %d", given, seconds, wanted)
		}
	}
}
