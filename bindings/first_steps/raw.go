//go:build windows

// Starts Firefox with the profile "work", plays a macro, prints its first extract, and closes Firefox: without a wrapper.
//
//	raw BROWSER MACRO-TEXT
package main

import (
	"fmt"
	"os"
	"syscall"
	"unsafe"
)

var (
	dll         = syscall.NewLazyDLL("KXTCP64.dll")
	create      = dll.NewProc("kx_ContextCreate")
	initialise  = dll.NewProc("kx_Init")
	setVariable = dll.NewProc("kx_SetVar")
	play        = dll.NewProc("kx_Play")
	lastExtract = dll.NewProc("kx_GetLastExtract")
	errorNumber = dll.NewProc("kx_GetLastErrorNumber")
	errorText   = dll.NewProc("kx_GetLastErrorText")
	exit        = dll.NewProc("kx_Exit")
	destroy     = dll.NewProc("kx_ContextDestroy")
)

func text(value string) unsafe.Pointer {
	return unsafe.Pointer(&append([]byte(value), 0)[0])
}

// number takes what a call gives; the library's int has 32 bits.
func number(result, _ uintptr, _ error) int {
	return int(int32(result))
}

func textOf(copyTo *syscall.LazyProc, context int, rest ...uintptr) string {
	size := number(copyTo.Call(append([]uintptr{uintptr(context), 0, 0}, rest...)...))
	if size <= 1 {
		return ""
	}
	buffer := make([]byte, size)
	if len(rest) == 0 {
		copyTo.Call(uintptr(context), uintptr(unsafe.Pointer(&buffer[0])), uintptr(size))
	} else {
		copyTo.Call(uintptr(context), uintptr(unsafe.Pointer(&buffer[0])), uintptr(size), rest[0])
	}
	return string(buffer[:size-1])
}

func failure(context int, call string, result int) error {
	return fmt.Errorf("%s failed: result %d, error %d: %s", call, result,
		number(errorNumber.Call(uintptr(context))), textOf(errorText, context))
}

func run(program, macro string) error {
	context := number(create.Call())
	defer destroy.Call(uintptr(context))
	result := number(initialise.Call(uintptr(context), uintptr(text("fx")), uintptr(text(`-fxProfile "work"`)),
		uintptr(text(program)), 0, 0, 60))
	if result == 0 {
		defer exit.Call(uintptr(context), 10)
	}
	if result != 0 || number(errorNumber.Call(uintptr(context))) != 1 {
		return failure(context, "kx_Init", result)
	}
	if result := number(setVariable.Call(uintptr(context), uintptr(text("city")), uintptr(text("Oslo")))); result != 0 {
		return failure(context, "kx_SetVar", result)
	}
	if result := number(play.Call(uintptr(context), uintptr(text(macro)), 60)); result != 0 {
		return failure(context, "kx_Play", result)
	}
	fmt.Println("the first extract:", textOf(lastExtract, context, 1))
	return nil
}

func main() {
	if err := run(os.Args[1], os.Args[2]); err != nil {
		fmt.Fprintln(os.Stderr, err)
		os.Exit(1)
	}
}
