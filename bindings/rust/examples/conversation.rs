//! Has a conversation with the wrapper for Rust: bindings/conversation/README.md tells how.
//!
//!     conversation STEPS KXTCP64.DLL

use std::error::Error as StdError;
use std::io::Write;
use std::time::Duration;

use kxtcp64::{Browser, Error, Library, PlayResult, ScreenshotArea, StartOptions};

type Outcome<T> = Result<T, Box<dyn StdError>>;

fn json(text: &str) -> String {
    let mut quoted = String::with_capacity(text.len() + 2);
    quoted.push('"');
    for c in text.chars() {
        match c {
            '"' | '\\' => quoted.extend(['\\', c]),
            c if c < ' ' => quoted += &format!("\\u{:04x}", u32::from(c)),
            c => quoted.push(c),
        }
    }
    quoted.push('"');
    quoted
}

fn left(play: &PlayResult) -> String {
    let extracts: Vec<String> = play.extracts.iter().map(|extract| json(extract)).collect();
    let pair = |name: &str, value: &str| format!("[{}, {}]", json(name), json(value));
    let performance: Vec<String> = play.performance.iter().map(|entry| pair(&entry.name, &entry.value)).collect();
    format!(
        r#"{{"extracts": [{}], "performance": [{}], "profilerData": {}}}"#,
        extracts.join(", "),
        performance.join(", "),
        json(play.profiler_data.as_deref().unwrap_or(""))
    )
}

fn field(text: &str) -> String {
    let mut result = String::new();
    let mut rest = text.chars();
    while let Some(c) = rest.next() {
        result.push(match c {
            '\\' => match rest.next() {
                Some('t') => '\t',
                Some('n') => '\n',
                Some('r') => '\r',
                _ => '\\',
            },
            c => c,
        });
    }
    result
}

fn seconds(text: &str) -> Outcome<Option<Duration>> {
    Ok(Some(Duration::from_secs(text.parse()?)))
}

struct Host {
    library: Library,
    browser: Option<Browser>,
}

impl Host {
    fn browser(&mut self) -> Outcome<&mut Browser> {
        self.browser.as_mut().ok_or_else(|| "no browser was started".into())
    }

    fn limited(&mut self, limit: &str) -> Outcome<&mut Browser> {
        let browser = self.browser()?;
        browser.set_timeout(seconds(limit)?)?;
        Ok(browser)
    }

    fn start(&mut self, program: &str, profile: &str, limit: &str) -> Outcome<String> {
        let browser = Browser::start(&StartOptions {
            profile: Some(profile.into()),
            program: Some(program.into()),
            profiler: true,
            open_new_browser: true,
            timeout: seconds(limit)?,
            library: Some(self.library),
            ..Default::default()
        })?;
        let launched = browser.process_id().is_some();
        self.browser = Some(browser);
        Ok(format!(r#"{{"launched": {launched}}}"#))
    }

    fn step(&mut self, name: &str, fields: &[&str]) -> Outcome<String> {
        match (name, fields) {
            ("start", [program, profile, limit]) => return self.start(program, profile, limit),
            ("variable", [name, value]) => self.browser()?.set_variable(name, value)?,
            ("play", [source, limit]) => return Ok(left(&self.limited(limit)?.play(source)?)),
            ("show", [message, limit]) => self.limited(limit)?.show(message)?,
            ("screenshot", [area, path, limit]) => {
                let area = if *area == "page" { ScreenshotArea::Page } else { ScreenshotArea::Browser };
                self.limited(limit)?.screenshot(path, area)?;
            }
            ("exit", [limit]) => self.browser()?.exit(seconds(limit)?)?,
            _ => return Err(format!("there is no step {name} with {} fields", fields.len()).into()),
        }
        Ok("{}".into())
    }

    /// What the step has come to, as members of an object.
    fn outcome(&mut self, name: &str, fields: &[&str]) -> Outcome<String> {
        let failed = match self.step(name, fields) {
            Ok(gives) => return Ok(format!(r#""gives": {gives}"#)),
            Err(failed) => failed.downcast::<Error>()?,
        };
        let left = match &self.browser {
            Some(browser) if name == "play" => browser.last_play().map(|play| format!(r#", "left": {}"#, left(&play))),
            _ => Ok(String::new()),
        };
        let Error { call, result, number, text } = *failed;
        let text = json(&text);
        let fails = format!(r#"{{"call": "{call}", "result": {result}, "number": {number}, "text": {text}}}"#);
        Ok(format!(r#""fails": {fails}{}"#, left.unwrap_or_default()))
    }
}

fn main() -> Outcome<()> {
    let arguments: Vec<String> = std::env::args().collect();
    let mut host = Host { library: Library::load(&arguments[2])?, browser: None };
    let steps = std::fs::read_to_string(&arguments[1])?;
    let mut output = std::io::stdout();
    for (index, line) in steps.lines().enumerate() {
        let fields: Vec<String> = line.split('\t').map(field).collect();
        let fields: Vec<&str> = fields.iter().map(String::as_str).collect();
        let outcome = host.outcome(fields[0], &fields[1..])?;
        writeln!(output, r#"{{"step": {}, {outcome}}}"#, index + 1)?;
    }
    Ok(())
}
