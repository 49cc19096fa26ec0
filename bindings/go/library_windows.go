package kxtcp64

import (
	"sync"
	"syscall"
)

// Library is the DLL. It stays loaded.
type Library struct {
	procs [len(functionNames)]*syscall.LazyProc
}

// Load loads the DLL at that path. Windows searches for a mere name, first in the program's own folder.
func Load(file string) (*Library, error) {
	const call = "kxtcp64.Load"
	if _, err := checkedText(call, "the path", file); err != nil {
		return nil, err
	}
	dll := syscall.NewLazyDLL(file)
	if err := dll.Load(); err != nil {
		return nil, refused(call, err.Error())
	}
	library := new(Library)
	for index, name := range functionNames {
		library.procs[index] = dll.NewProc(name)
		if err := library.procs[index].Find(); err != nil {
			return nil, refused(call, err.Error())
		}
	}
	return library, nil
}

var usual struct {
	sync.Mutex
	library *Library
}

// libraryOf gives the one that was named, or the one that Windows finds; that is searched for until it was found once.
func libraryOf(options Options) (*Library, error) {
	if options.Library != nil {
		return options.Library, nil
	}
	usual.Lock()
	defer usual.Unlock()
	if usual.library == nil {
		library, err := Load("KXTCP64.dll")
		if err != nil {
			return nil, err
		}
		usual.library = library
	}
	return usual.library, nil
}
