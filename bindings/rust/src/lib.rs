#![doc = include_str!("../README.md")]
#![cfg(windows)]

#[allow(non_snake_case)]
mod declarations;
mod library;
mod options;
mod session;

use std::fmt;
use std::path::{Path, PathBuf};
use std::time::Duration;

pub use declarations::{
    KX_BUFFER_TOO_SMALL, KX_ERROR_GENERAL, KX_ERROR_NONE, KX_ERROR_PROFILE_IN_USE, KX_ERROR_SUCCESS, KX_ERROR_TIMEOUT,
    KX_FAILED, KX_NO_CONTEXT, KX_OK, KX_SCREENSHOT_BROWSER, KX_SCREENSHOT_PAGE, KX_TIMEOUT,
};
pub use library::Library;

use options::{checked, options_text, path_text, program_text, seconds, variable_name};
use session::{copied, Session};

/// What goes wrong, of every kind.
#[derive(Clone, Debug, PartialEq, Eq)]
pub struct Error {
    /// The function of `kxtcp64.h`, or what this crate was asked for.
    pub call: &'static str,
    /// That function's result. [`KX_FAILED`] when it was not called, [`KX_OK`] when the browser answered with an error to a
    /// start, a message or a screenshot.
    pub result: i32,
    /// The library's error number; [`KX_ERROR_NONE`] when the arguments were wrong.
    pub number: i32,
    /// The library's error text.
    pub text: String,
}

pub type Result<T> = std::result::Result<T, Error>;

impl fmt::Display for Error {
    fn fmt(&self, formatter: &mut fmt::Formatter<'_>) -> fmt::Result {
        write!(formatter, "{} failed: result {}, error {}: {}", self.call, self.result, self.number, self.text)
    }
}

impl std::error::Error for Error {}

impl Error {
    pub(crate) fn refused(call: &'static str, text: impl Into<String>) -> Self {
        Self { call, result: KX_FAILED, number: KX_ERROR_NONE, text: text.into() }
    }

    /// For functions that leave the error number and text alone: theirs would tell of another call.
    pub(crate) fn without_number(call: &'static str, result: i32) -> Self {
        Self { call, result, number: KX_ERROR_NONE, text: "the log tells more".into() }
    }
}

#[derive(Clone, Copy, Debug, PartialEq, Eq)]
pub enum BrowserType {
    Firefox,
    Chrome,
}

#[derive(Clone, Copy, Debug, PartialEq, Eq)]
pub enum ScreenshotArea {
    Browser = KX_SCREENSHOT_BROWSER as isize,
    Page = KX_SCREENSHOT_PAGE as isize,
}

/// Options of a start. Values are quoted by this crate; one that cannot be meant is refused before anything is started.
#[derive(Clone, Debug)]
pub struct StartOptions {
    pub browser: BrowserType,
    /// Firefox's profile, by its name. Without it Firefox chooses one.
    pub profile: Option<String>,
    /// Chrome's user data directory. Without it Chrome's own.
    pub user_data_dir: Option<PathBuf>,
    /// The browser's program; a relative path starts from the current folder. Without it the one in the usual place.
    pub program: Option<PathBuf>,
    /// Plays leave profiler data.
    pub profiler: bool,
    /// The extension is asked for a new browser window.
    pub open_new_browser: bool,
    /// Only a browser that is running already; none is launched.
    pub attach_only: bool,
    /// Of the start, and the number of attempts, see `kx_Init()`. Above zero, rounded up to whole seconds; `None` waits without
    /// a limit, which a runner's start refuses.
    pub timeout: Option<Duration>,
    /// Of the exit when a [`Browser`] is dropped.
    pub exit_timeout: Option<Duration>,
    /// The DLL; without it the `KXTCP64.dll` that Windows finds, first in the program's own folder.
    pub library: Option<Library>,
}

impl Default for StartOptions {
    fn default() -> Self {
        Self {
            browser: BrowserType::Firefox,
            profile: None,
            user_data_dir: None,
            program: None,
            profiler: false,
            open_new_browser: false,
            attach_only: false,
            timeout: Some(Duration::from_secs(60)),
            exit_timeout: Some(Duration::from_secs(10)),
            library: None,
        }
    }
}

#[derive(Clone, Debug, PartialEq, Eq)]
pub struct PerformanceEntry {
    pub name: String,
    pub value: String,
}

/// What a play left. Bytes that are no UTF-8 become U+FFFD.
#[derive(Clone, Debug, PartialEq, Eq)]
pub struct PlayResult {
    /// In their order, empty ones included. One empty extract looks like none.
    pub extracts: Vec<String>,
    pub performance: Vec<PerformanceEntry>,
    /// `None` unless [`StartOptions::profiler`] asked for it.
    pub profiler_data: Option<String>,
}

/// A browser that was started or attached to.
#[derive(Debug)]
pub struct Browser {
    session: Session,
    seconds: i32,
    process_id: Option<u32>,
}

impl Browser {
    /// Attaches to the running browser of that profile, or launches it.
    pub fn start(options: &StartOptions) -> Result<Self> {
        const CALL: &str = "kx_Init";
        let text = options_text(CALL, options, false)?;
        let program = program_text(CALL, options)?;
        let timeout = seconds(CALL, options.timeout)?;
        let session = Session::new(CALL, options, false)?;
        let result = unsafe {
            (session.functions().kx_Init)(
                session.context(),
                options::browser_name(options).as_ptr(),
                text.as_ptr(),
                program.as_ref().map_or(std::ptr::null(), |text| text.as_ptr()),
                0,
                options.open_new_browser.into(),
                timeout,
            )
        };
        // The launch that had to fail was tried.
        let nobody = options.attach_only && result > KX_OK;
        let reason =
            nobody.then(|| "no running browser serves the extension's pipe, and attach_only launches none".to_owned());
        Self::started(session.started(CALL, result, reason)?)
    }

    /// The arguments with which a host starts the browser's program itself. `program`, `attach_only` and the time-outs are not
    /// looked at. `page` is Chrome's start page; without it one is generated.
    pub fn runner_arguments(options: &StartOptions, page: Option<&Path>) -> Result<String> {
        const CALL: &str = "kxr_GetCommandLine";
        let text = options_text(CALL, options, true)?;
        let page = page.map(|page| path_text(CALL, "the page", page)).transpose()?;
        let library = Library::of(options)?;
        let bytes = copied(CALL, |buffer, size| unsafe {
            (library.functions().kxr_GetCommandLine)(
                options::browser_name(options).as_ptr(),
                text.as_ptr(),
                buffer,
                size,
                page.as_ref().map_or(std::ptr::null(), |text| text.as_ptr()),
            )
        })?;
        Ok(String::from_utf8_lossy(&bytes).into_owned())
    }

    /// Attaches to a browser that was started with [`Browser::runner_arguments`]. The end asks that browser to exit, and does
    /// not wait for its process.
    pub fn start_runner(options: &StartOptions) -> Result<Self> {
        const CALL: &str = "kxr_Init";
        let text = options_text(CALL, options, true)?;
        let timeout = seconds(CALL, options.timeout)?;
        if timeout == 0 {
            // The library would make one attempt, which may fail at once.
            return Err(Error::refused(CALL, "a runner's timeout has an end, for it sets the number of attempts"));
        }
        let session = Session::new(CALL, options, true)?;
        let result = unsafe {
            (session.functions().kxr_Init)(
                session.context(),
                options::browser_name(options).as_ptr(),
                text.as_ptr(),
                options.open_new_browser.into(),
                timeout,
            )
        };
        Self::started(session.started(CALL, result, None)?)
    }

    fn started(session: Session) -> Result<Self> {
        let id = unsafe { (session.functions().kx_GetBrowserProcessId)(session.context()) };
        Ok(Self { session, seconds: 60, process_id: (id != 0).then(|| id as u32) })
    }

    /// How long each single write and read of a request may last; 60 seconds unless set. Above zero, rounded up to whole
    /// seconds; `None` waits without a limit.
    pub fn set_timeout(&mut self, timeout: Option<Duration>) -> Result<()> {
        self.seconds = seconds("kxtcp64::Browser::set_timeout", timeout)?;
        Ok(())
    }

    /// Of the process that was launched; `None` for a browser that was running.
    pub fn process_id(&self) -> Option<u32> {
        self.process_id
    }

    /// A variable for the next play.
    pub fn set_variable(&mut self, name: &str, value: &str) -> Result<()> {
        const CALL: &str = "kx_SetVar";
        let name = variable_name(CALL, name)?;
        let value = checked(CALL, "the variable's value", value)?;
        let context = self.session.request(CALL)?;
        match unsafe { (self.session.functions().kx_SetVar)(context, name.as_ptr(), value.as_ptr()) } {
            KX_OK => Ok(()),
            result => Err(Error::without_number(CALL, result)),
        }
    }

    /// Plays a macro, and gives all that it left.
    pub fn play(&mut self, source: &str) -> Result<PlayResult> {
        const CALL: &str = "kx_Play";
        let source = checked(CALL, "the macro", source)?;
        let context = self.session.request(CALL)?;
        let result = unsafe { (self.session.functions().kx_Play)(context, source.as_ptr(), self.seconds) };
        self.session.check(CALL, result)?;
        self.session.read_back()
    }

    /// The same once more; after a play that has failed, what it had left by then. The profiler data are those of the last
    /// answer, which may be another one than the play's.
    pub fn last_play(&self) -> Result<PlayResult> {
        self.session.open("kx_GetLastExtract")?;
        self.session.read_back()
    }

    /// Shows a message to the user, in the browser.
    pub fn show(&mut self, message: &str) -> Result<()> {
        const CALL: &str = "kx_Display";
        let message = checked(CALL, "the message", message)?;
        let context = self.session.request(CALL)?;
        let result = unsafe { (self.session.functions().kx_Display)(context, message.as_ptr(), self.seconds) };
        self.session.check(CALL, result)
    }

    /// Has the browser save a picture to a file, as the browser's process understands the path.
    pub fn screenshot(&mut self, file: impl AsRef<Path>, area: ScreenshotArea) -> Result<()> {
        const CALL: &str = "kx_TakeBrowserScreenshot";
        let file = path_text(CALL, "the path", file.as_ref())?;
        let context = self.session.request(CALL)?;
        let result = unsafe {
            (self.session.functions().kx_TakeBrowserScreenshot)(context, file.as_ptr(), area as i32, self.seconds)
        };
        self.session.check(CALL, result)
    }

    /// Closes the browser, also one that was attached to. A `Browser` that is closed refuses every call but this one. When this
    /// fails, the browser is still there, and may be closed again.
    pub fn exit(&mut self, timeout: Option<Duration>) -> Result<()> {
        let seconds = seconds(self.session.exit_call(), timeout)?;
        self.session.exit(seconds)
    }
}
