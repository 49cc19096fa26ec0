//go:build windows

// Starts Firefox with the profile "work", plays a macro, prints its extracts, and closes Firefox.
//
//	example BROWSER MACRO-TEXT
package main

import (
	"context"
	"fmt"
	"os"

	"kxtcp64"
)

func run(ctx context.Context, program, macro string) error {
	browser, err := kxtcp64.Start(ctx, kxtcp64.Options{Profile: "work", Program: program})
	if err != nil {
		return err
	}
	defer browser.Close()
	if err := browser.SetVariable(ctx, "city", "Oslo"); err != nil {
		return err
	}
	play, err := browser.Play(ctx, macro)
	for _, extract := range play.Extracts {
		fmt.Println(extract)
	}
	return err
}

func main() {
	if err := run(context.Background(), os.Args[1], os.Args[2]); err != nil {
		fmt.Fprintln(os.Stderr, err)
		os.Exit(1)
	}
}
