//! The simulator in a folder of its own. run.sh sets KX_DLL and KX_SIMULATOR.
#![allow(dead_code)]

use std::fs;
use std::io::{BufRead, BufReader, Read};
use std::os::windows::process::CommandExt;
use std::path::PathBuf;
use std::process::{Child, Command, Stdio};
use std::sync::atomic::{AtomicU32, Ordering};
use std::time::Duration;

use kxtcp64::{Browser, Error, Library, StartOptions};

pub fn library() -> Library {
    Library::load(std::env::var("KX_DLL").unwrap()).unwrap()
}

/// Gone when it is dropped.
pub struct World {
    pub folder: PathBuf,
    pub profile: String,
}

static WORLDS: AtomicU32 = AtomicU32::new(0);

impl World {
    pub fn new(script: &[&str]) -> Self {
        let number = WORLDS.fetch_add(1, Ordering::Relaxed);
        let name = format!("rust {} {number}", std::process::id());
        let folder = std::env::temp_dir().join(&name);
        fs::create_dir_all(&folder).unwrap();
        fs::copy(std::env::var("KX_SIMULATOR").unwrap(), folder.join("browser.exe")).unwrap();
        let record = format!("record {}", folder.join("record").display());
        fs::write(folder.join("browser.script"), [&[record.as_str()], script].concat().join("\n")).unwrap();
        Self { folder, profile: name }
    }

    pub fn program(&self) -> PathBuf {
        self.folder.join("browser.exe")
    }

    pub fn options(&self) -> StartOptions {
        StartOptions { profile: Some(self.profile.clone()), library: Some(library()), ..Default::default() }
    }

    /// Starts the simulator as a user starts a browser, and waits until hosts can connect.
    pub fn run(&self) -> Running {
        let arguments = Browser::runner_arguments(&self.options(), None).unwrap();
        let mut child = Command::new(self.program())
            .arg("--verbose")
            .raw_arg(arguments)
            .stdin(Stdio::null())
            .stdout(Stdio::piped())
            .spawn()
            .unwrap();
        let mut output = BufReader::new(child.stdout.take().unwrap());
        let mut line = String::new();
        while line.trim_end() != "serving" {
            line.clear();
            assert_ne!(output.read_line(&mut line).unwrap(), 0, "the simulator does not serve its pipe");
        }
        std::thread::spawn(move || output.read_to_end(&mut Vec::new()));
        Running(child)
    }

    /// Attaches, which does not take the two seconds that the library gives a browser that it has launched.
    pub fn start(&self) -> (Running, Browser) {
        let running = self.run();
        (running, Browser::start_runner(&self.options()).unwrap())
    }

    pub fn recorded(&self, name: &str) -> String {
        fs::read_to_string(self.folder.join("record").join(name)).unwrap()
    }

    pub fn requests(&self) -> usize {
        let names = fs::read_dir(self.folder.join("record")).unwrap().map(|entry| entry.unwrap().file_name());
        names.filter(|name| name.to_string_lossy().starts_with("request-")).count()
    }
}

impl Drop for World {
    fn drop(&mut self) {
        // A browser that is just ending may still hold a file: it is left then.
        let _ = fs::remove_dir_all(&self.folder);
    }
}

pub struct Running(Child);

impl Running {
    pub fn wait_for_end(&mut self) {
        self.0.wait().unwrap();
    }
}

impl Drop for Running {
    fn drop(&mut self) {
        let _ = self.0.kill();
        let _ = self.0.wait();
    }
}

pub const SECOND: Option<Duration> = Some(Duration::from_secs(1));

/// Compares call, result and number, and looks for the text.
#[track_caller]
pub fn assert_error<T: std::fmt::Debug>(
    result: Result<T, Error>,
    (call, code, number, text): (&str, i32, i32, &str),
) -> Error {
    let error = result.unwrap_err();
    assert_eq!((error.call, error.result, error.number), (call, code, number), "{error}");
    assert!(error.text.contains(text), "{error}");
    error
}
