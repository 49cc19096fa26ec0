// Code generated from bindings/interface.json by tools/check_interface.py --fix; DO NOT EDIT.

package kxtcp64

import "unsafe"

const (
	// What a call gives.
	ResultOK             = 0
	ResultFailed         = -1
	ResultBufferTooSmall = -2
	ResultTimeout        = -3
	ResultNoContext      = -5
	// Numbers of the library's own.
	NumberNone         = 0
	NumberSuccess      = 1
	NumberGeneral      = -1
	NumberTimeout      = -3
	NumberProfileInUse = -4
	// What a picture shows.
	ScreenshotBrowser ScreenshotArea = 0
	ScreenshotPage    ScreenshotArea = 1
)

var functionNames = [...]string{
	"kx_ContextCreate",
	"kx_ContextDestroy",
	"kx_GetLastErrorNumber",
	"kx_GetLastErrorText",
	"kx_Init",
	"kx_SetVar",
	"kx_Play",
	"kx_Display",
	"kx_TakeBrowserScreenshot",
	"kx_GetLastExtract",
	"kx_GetPerformance",
	"kx_GetLastPerformance",
	"kx_GetBrowserProcessId",
	"kx_Exit",
	"kxr_GetCommandLine",
	"kxr_Init",
	"kxr_Exit",
}

func (l *Library) kx_ContextCreate() int32 {
	result, _, _ := l.procs[0].Call()
	return int32(result)
}

func (l *Library) kx_ContextDestroy(context int32) {
	l.procs[1].Call(uintptr(context))
}

func (l *Library) kx_GetLastErrorNumber(context int32) int32 {
	result, _, _ := l.procs[2].Call(uintptr(context))
	return int32(result)
}

func (l *Library) kx_GetLastErrorText(context int32, buffer *byte, size int32) int32 {
	result, _, _ := l.procs[3].Call(uintptr(context), uintptr(unsafe.Pointer(buffer)), uintptr(size))
	return int32(result)
}

func (l *Library) kx_Init(context int32, browser *byte, options *byte, browserPath *byte, port int32, openNewBrowser int32, timeout int32) int32 {
	result, _, _ := l.procs[4].Call(uintptr(context), uintptr(unsafe.Pointer(browser)), uintptr(unsafe.Pointer(options)), uintptr(unsafe.Pointer(browserPath)), uintptr(port), uintptr(openNewBrowser), uintptr(timeout))
	return int32(result)
}

func (l *Library) kx_SetVar(context int32, name *byte, value *byte) int32 {
	result, _, _ := l.procs[5].Call(uintptr(context), uintptr(unsafe.Pointer(name)), uintptr(unsafe.Pointer(value)))
	return int32(result)
}

func (l *Library) kx_Play(context int32, macro *byte, timeout int32) int32 {
	result, _, _ := l.procs[6].Call(uintptr(context), uintptr(unsafe.Pointer(macro)), uintptr(timeout))
	return int32(result)
}

func (l *Library) kx_Display(context int32, message *byte, timeout int32) int32 {
	result, _, _ := l.procs[7].Call(uintptr(context), uintptr(unsafe.Pointer(message)), uintptr(timeout))
	return int32(result)
}

func (l *Library) kx_TakeBrowserScreenshot(context int32, path *byte, kind int32, timeout int32) int32 {
	result, _, _ := l.procs[8].Call(uintptr(context), uintptr(unsafe.Pointer(path)), uintptr(kind), uintptr(timeout))
	return int32(result)
}

func (l *Library) kx_GetLastExtract(context int32, buffer *byte, size int32, index int32) int32 {
	result, _, _ := l.procs[9].Call(uintptr(context), uintptr(unsafe.Pointer(buffer)), uintptr(size), uintptr(index))
	return int32(result)
}

func (l *Library) kx_GetPerformance(context int32, buffer *byte, size int32) int32 {
	result, _, _ := l.procs[10].Call(uintptr(context), uintptr(unsafe.Pointer(buffer)), uintptr(size))
	return int32(result)
}

func (l *Library) kx_GetLastPerformance(context int32, index int32, name *byte, nameSize *int32, value *byte, valueSize *int32) int32 {
	result, _, _ := l.procs[11].Call(uintptr(context), uintptr(index), uintptr(unsafe.Pointer(name)), uintptr(unsafe.Pointer(nameSize)), uintptr(unsafe.Pointer(value)), uintptr(unsafe.Pointer(valueSize)))
	return int32(result)
}

func (l *Library) kx_GetBrowserProcessId(context int32) int32 {
	result, _, _ := l.procs[12].Call(uintptr(context))
	return int32(result)
}

func (l *Library) kx_Exit(context int32, timeout int32) int32 {
	result, _, _ := l.procs[13].Call(uintptr(context), uintptr(timeout))
	return int32(result)
}

func (l *Library) kxr_GetCommandLine(browser *byte, options *byte, buffer *byte, size int32, pageText *byte) int32 {
	result, _, _ := l.procs[14].Call(uintptr(unsafe.Pointer(browser)), uintptr(unsafe.Pointer(options)), uintptr(unsafe.Pointer(buffer)), uintptr(size), uintptr(unsafe.Pointer(pageText)))
	return int32(result)
}

func (l *Library) kxr_Init(context int32, browser *byte, options *byte, openNewBrowser int32, timeout int32) int32 {
	result, _, _ := l.procs[15].Call(uintptr(context), uintptr(unsafe.Pointer(browser)), uintptr(unsafe.Pointer(options)), uintptr(openNewBrowser), uintptr(timeout))
	return int32(result)
}

func (l *Library) kxr_Exit(context int32, timeout int32) int32 {
	result, _, _ := l.procs[16].Call(uintptr(context), uintptr(timeout))
	return int32(result)
}
