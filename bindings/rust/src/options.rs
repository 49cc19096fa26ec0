//! Checks what a host gives, and writes it as the library wants it.

use std::ffi::CString;
use std::path::Path;
use std::time::Duration;

use crate::{BrowserType, Error, Result, StartOptions};

/// Refuses a zero character, which the library would take for the text's end.
pub(crate) fn checked(call: &'static str, what: &str, text: &str) -> Result<CString> {
    CString::new(text).map_err(|_| Error::refused(call, format!("{what} holds a zero character")))
}

pub(crate) fn path_text(call: &'static str, what: &str, path: &Path) -> Result<CString> {
    let text = path.to_str().ok_or_else(|| Error::refused(call, format!("{what} holds half of a surrogate pair")))?;
    checked(call, what, text)
}

fn has_quote_or_control(text: &str) -> bool {
    text.chars().any(|c| c == '"' || c < ' ')
}

pub(crate) fn variable_name(call: &'static str, name: &str) -> Result<CString> {
    if has_quote_or_control(name) || name.contains('\\') {
        let text = "the variable's name holds a double quote, a backslash or a control character";
        return Err(Error::refused(call, text));
    }
    checked(call, "the variable's name", name)
}

/// At least one: 0 is no limit.
pub(crate) fn seconds(call: &'static str, timeout: Option<Duration>) -> Result<i32> {
    let time = match timeout {
        None => return Ok(0),
        Some(time) => time,
    };
    let whole = time.as_secs().saturating_add(u64::from(time.subsec_nanos() > 0));
    match i32::try_from(whole) {
        Ok(seconds) if seconds > 0 => Ok(seconds),
        _ => Err(Error::refused(call, "a time-out is above zero, and below 68 years; None is no limit")),
    }
}

pub(crate) fn browser_name(options: &StartOptions) -> CString {
    let name = match options.browser {
        BrowserType::Firefox => "fx",
        BrowserType::Chrome => "cr",
    };
    CString::new(name).unwrap_or_default()
}

fn append_option(text: &mut String, call: &'static str, name: &str, value: &str) -> Result<()> {
    if value.is_empty() || value.ends_with('\\') || has_quote_or_control(value) {
        let problem = "is empty, ends in a backslash, or holds a double quote or a control character";
        return Err(Error::refused(call, format!("the value of {name} {problem}: {value}")));
    }
    *text += &format!(" {name}=\"{value}\"");
    Ok(())
}

/// The options string. Quotes let a value begin with a hyphen and hold blanks.
pub(crate) fn options_text(call: &'static str, options: &StartOptions, runner: bool) -> Result<CString> {
    let wrong = match options.browser {
        BrowserType::Firefox if options.user_data_dir.is_some() => "user_data_dir is for Chrome; Firefox has a profile",
        BrowserType::Chrome if options.profile.is_some() => "profile is for Firefox; Chrome has a user_data_dir",
        _ if runner && options.profile.is_none() && options.user_data_dir.is_none() => {
            "a runner's Firefox needs a profile, its Chrome a user_data_dir"
        }
        _ => "",
    };
    if !wrong.is_empty() {
        return Err(Error::refused(call, wrong));
    }
    let mut text = String::from(if runner { "-runner" } else { "" });
    if options.profiler {
        text += " -profiler";
    }
    if let Some(profile) = &options.profile {
        append_option(&mut text, call, "-fxProfile", profile)?;
    }
    if let Some(folder) = &options.user_data_dir {
        let folder = path_text(call, "user_data_dir", folder)?;
        append_option(&mut text, call, "-crUserDataDir", &folder.to_string_lossy())?;
    }
    checked(call, "an option", &text)
}

/// A whole path with backslashes; `None` for the usual place. The empty one launches nothing.
pub(crate) fn program_text(call: &'static str, options: &StartOptions) -> Result<Option<CString>> {
    let program = match &options.program {
        Some(_) if options.attach_only => {
            return Err(Error::refused(call, "attach_only launches no program, so program means nothing with it"))
        }
        None if options.attach_only => return Ok(Some(CString::default())),
        None => return Ok(None),
        Some(program) => program,
    };
    if program.as_os_str().is_empty() {
        return Err(Error::refused(call, "program is no path"));
    }
    let folder = std::env::current_dir().map_err(|error| Error::refused(call, error.to_string()))?;
    let whole = path_text(call, "program", &folder.join(program))?;
    checked(call, "program", &whole.to_string_lossy().replace('/', "\\")).map(Some)
}

#[cfg(test)]
mod tests {
    use super::*;

    #[test]
    fn time_outs_are_rounded_up_to_whole_seconds() {
        let rounded = |time| seconds("call", Some(time)).map_err(|error| error.text);
        assert_eq!(rounded(Duration::from_nanos(1)), Ok(1));
        assert_eq!(rounded(Duration::from_millis(1000)), Ok(1));
        assert_eq!(rounded(Duration::from_millis(1001)), Ok(2));
        assert_eq!(rounded(Duration::from_secs(0x7FFF_FFFF)), Ok(0x7FFF_FFFF));
        assert_eq!(seconds("call", None), Ok(0));
        for wrong in [Duration::ZERO, Duration::from_secs(0x8000_0000), Duration::MAX] {
            assert!(rounded(wrong).unwrap_err().contains("above zero"), "{wrong:?}");
        }
    }

    #[test]
    fn a_program_is_a_whole_path_with_backslashes() {
        let text = |program: &str| {
            let options = StartOptions { program: Some(program.into()), ..Default::default() };
            program_text("call", &options).unwrap().unwrap().into_string().unwrap()
        };
        assert_eq!(text("C:/browsers/a.exe"), "C:\\browsers\\a.exe");
        assert_eq!(text("a.exe"), std::env::current_dir().unwrap().join("a.exe").to_str().unwrap());
    }
}
