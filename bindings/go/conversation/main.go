//go:build windows

// Has a conversation with the wrapper for Go: bindings/conversation/README.md tells how.
//
//	host STEPS KXTCP64.DLL
package main

import (
	"bytes"
	"context"
	"encoding/json"
	"errors"
	"fmt"
	"os"
	"strconv"
	"strings"
	"time"

	"kxtcp64"
)

type object map[string]any

func main() {
	library, err := kxtcp64.Load(os.Args[2])
	exitOn(err)
	steps, err := os.ReadFile(os.Args[1])
	exitOn(err)
	host := host{library: library}
	escapes := strings.NewReplacer(`\\`, `\`, `\t`, "\t", `\n`, "\n", `\r`, "\r")
	for index, line := range strings.Split(strings.TrimSuffix(string(steps), "\n"), "\n") {
		fields := strings.Split(line, "\t")
		for index := range fields {
			fields[index] = escapes.Replace(fields[index])
		}
		outcome := host.outcome(fields[0], fields[1:])
		outcome["step"] = index + 1
		print(outcome)
	}
}

func exitOn(err error) {
	if err != nil {
		fmt.Fprintln(os.Stderr, err)
		os.Exit(1)
	}
}

func print(line object) {
	var text bytes.Buffer
	exitOn(json.NewEncoder(&text).Encode(line))
	_, err := os.Stdout.Write(text.Bytes())
	exitOn(err)
}

type host struct {
	library *kxtcp64.Library
	browser *kxtcp64.Browser
}

func (h *host) outcome(step string, fields []string) object {
	gives, err := h.do(step, fields)
	var failure *kxtcp64.Error
	if err == nil {
		return object{"gives": gives}
	}
	if !errors.As(err, &failure) {
		exitOn(fmt.Errorf("step %s: %w", step, err))
	}
	fails := object{"call": failure.Call, "result": failure.Result, "number": failure.Number, "text": failure.Text}
	if step == "play" {
		return object{"fails": fails, "left": gives}
	}
	return object{"fails": fails}
}

func (h *host) do(step string, fields []string) (object, error) {
	ctx := context.Background()
	if step == "variable" {
		return object{}, h.browser.SetVariable(ctx, fields[0], fields[1])
	}
	// The last field of the others is the time-out.
	seconds, err := strconv.Atoi(fields[len(fields)-1])
	exitOn(err)
	ctx, cancel := context.WithTimeout(ctx, time.Duration(seconds)*time.Second)
	defer cancel()
	switch step {
	case "start":
		return h.start(ctx, fields[0], fields[1])
	case "play":
		play, err := h.browser.Play(ctx, fields[0])
		return left(play), err
	case "show":
		return object{}, h.browser.Show(ctx, fields[0])
	case "screenshot":
		area := kxtcp64.ScreenshotBrowser
		if fields[0] == "page" {
			area = kxtcp64.ScreenshotPage
		}
		return object{}, h.browser.Screenshot(ctx, fields[1], area)
	case "exit":
		return object{}, h.browser.Exit(ctx)
	}
	return nil, errors.New("there is no such step")
}

func (h *host) start(ctx context.Context, program, profile string) (object, error) {
	browser, err := kxtcp64.Start(ctx, kxtcp64.Options{
		Profile: profile, Program: program, Profiler: true, OpenNewBrowser: true, Library: h.library})
	if err != nil {
		return nil, err
	}
	h.browser = browser
	return object{"launched": browser.ProcessID() != 0}, nil
}

func left(play kxtcp64.PlayResult) object {
	performance := [][]string{}
	for _, entry := range play.Performance {
		performance = append(performance, []string{entry.Name, entry.Value})
	}
	return object{"extracts": append([]string{}, play.Extracts...), "performance": performance, "profilerData": play.ProfilerData}
}
