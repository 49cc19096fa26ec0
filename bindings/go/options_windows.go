package kxtcp64

import (
	"math"
	"strconv"
	"strings"
	"time"
)

func decimal(number int) string {
	return strconv.Itoa(number)
}

func flag(value bool) int32 {
	if value {
		return 1
	}
	return 0
}

func zeroTerminated(text string) *byte {
	return &append([]byte(text), 0)[0]
}

// checkedText refuses a zero character, which the library would take for the text's end.
func checkedText(call, what, text string) (*byte, error) {
	if strings.IndexByte(text, 0) >= 0 {
		return nil, refused(call, what+" holds a zero character")
	}
	return zeroTerminated(text), nil
}

func hasQuoteOrControl(text string) bool {
	return strings.IndexFunc(text, func(c rune) bool { return c == '"' || c < ' ' }) >= 0
}

func hasQuoteBackslashOrControl(text string) bool {
	return hasQuoteOrControl(text) || strings.Contains(text, `\`)
}

func browserName(options Options) string {
	if options.Browser == Chrome {
		return "cr"
	}
	return "fx"
}

func option(call, name, value string) (string, error) {
	if strings.HasSuffix(value, `\`) || hasQuoteOrControl(value) {
		return "", refused(call, "the value of "+name+" ends in a backslash, or holds a double quote or a control character: "+value)
	}
	return " " + name + `="` + value + `"`, nil
}

// optionsText has the values in quotes, so that they may begin with a hyphen and hold blanks.
func optionsText(call string, options Options, runner bool) (*byte, error) {
	switch {
	case options.Browser != Firefox && options.Browser != Chrome:
		return nil, refused(call, "Browser is Firefox or Chrome")
	case options.Browser == Firefox && options.UserDataDir != "":
		return nil, refused(call, "UserDataDir is for Chrome; Firefox has a Profile")
	case options.Browser == Chrome && options.Profile != "":
		return nil, refused(call, "Profile is for Firefox; Chrome has a UserDataDir")
	case runner && options.Profile == "" && options.UserDataDir == "":
		return nil, refused(call, "a runner's Firefox needs a Profile, its Chrome a UserDataDir")
	}
	text := ""
	if runner {
		text = "-runner"
	}
	if options.Profiler {
		text += " -profiler"
	}
	for _, given := range []struct{ name, value string }{
		{"-fxProfile", options.Profile}, {"-crUserDataDir", options.UserDataDir}} {
		if given.value == "" {
			continue
		}
		quoted, err := option(call, given.name, given.value)
		if err != nil {
			return nil, err
		}
		text += quoted
	}
	return zeroTerminated(text), nil
}

// wholeSeconds is at least one, for 0 is no limit.
func wholeSeconds(time time.Duration) int32 {
	seconds := math.Ceil(time.Seconds())
	return int32(math.Min(math.Max(seconds, 1), math.MaxInt32))
}

func secondsOf(call string, given, usual time.Duration) (int32, error) {
	if given < 0 {
		return 0, refused(call, "a time-out is above zero")
	}
	if given == 0 {
		given = usual
	}
	return wholeSeconds(given), nil
}
