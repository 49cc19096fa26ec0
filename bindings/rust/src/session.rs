//! A context of the library, and how it is ended.

use std::os::raw::{c_char, c_int};

use crate::declarations::*;
use crate::library::Library;
use crate::options::seconds;
use crate::{Error, PerformanceEntry, PlayResult, Result, StartOptions};

const SEPARATOR: &str = "[EXTRACT]";
const REMEDY: &str = "close this browser and start another";

#[derive(Debug)]
pub(crate) struct Session {
    library: Library,
    runner: bool,
    exit_seconds: i32,
    /// `None` once it was destroyed: the library gives its number to the next one.
    context: Option<i32>,
    /// Why requests and answers no longer go together, with the number of the request that is to blame.
    out_of_step: Option<(i32, &'static str)>,
}

impl Session {
    pub fn new(call: &'static str, options: &StartOptions, runner: bool) -> Result<Self> {
        let exit_seconds = seconds(call, options.exit_timeout)?;
        let library = Library::of(options)?;
        let context = unsafe { (library.functions().kx_ContextCreate)() };
        if context < 0 {
            let text = "no memory for a context".into();
            return Err(Error { call: "kx_ContextCreate", result: context, number: KX_ERROR_NONE, text });
        }
        Ok(Self { library, runner, exit_seconds, context: Some(context), out_of_step: None })
    }

    pub fn functions(&self) -> &'static Functions {
        self.library.functions()
    }

    /// Of a session that was not closed; -1, which is no context, of another one.
    pub fn context(&self) -> i32 {
        self.context.unwrap_or(-1)
    }

    pub fn open(&self, call: &'static str) -> Result<i32> {
        let text = "the browser was closed";
        self.context.ok_or_else(|| Error { call, result: KX_NO_CONTEXT, number: KX_ERROR_NONE, text: text.into() })
    }

    /// The same for what sends a request.
    pub fn request(&self, call: &'static str) -> Result<i32> {
        let context = self.open(call)?;
        match self.out_of_step {
            Some((number, why)) => Err(Error { call, result: KX_FAILED, number, text: format!("{why}; {REMEDY}") }),
            None => Ok(context),
        }
    }

    fn error_number(&self) -> i32 {
        unsafe { (self.functions().kx_GetLastErrorNumber)(self.context()) }
    }

    fn error_text(&self) -> String {
        let copy =
            |buffer: *mut c_char, size| unsafe { (self.functions().kx_GetLastErrorText)(self.context(), buffer, size) };
        String::from_utf8_lossy(&copied("kx_GetLastErrorText", copy).unwrap_or_default()).into_owned()
    }

    /// What a call and the browser's answer to it come to: an error unless both tell of success.
    pub fn check(&mut self, call: &'static str, result: i32) -> Result<()> {
        let number = self.error_number();
        if result == KX_OK && number == KX_ERROR_SUCCESS {
            return Ok(());
        }
        let text = self.error_text();
        let why = match (number, text.as_str()) {
            (KX_ERROR_TIMEOUT, "Error while sending request" | "Error while receiving response") => {
                Some("an earlier request has timed out, and its late answer would count as the next one's")
            }
            (KX_ERROR_GENERAL, "Error in response processing") => {
                Some("an earlier answer was not valid, and what is left of it would spoil the next one")
            }
            _ => None,
        };
        self.out_of_step = why.map(|why| (number, why)).or(self.out_of_step);
        Err(Error { call, result, number, text })
    }

    /// The same for a start. One that was answered leaves a browser, which is closed; any other leaves none.
    pub fn started(mut self, call: &'static str, result: i32, reason: Option<String>) -> Result<Self> {
        if result != KX_OK {
            let (number, text) = (self.error_number(), reason.unwrap_or_else(|| self.error_text()));
            self.destroy();
            return Err(Error { call, result, number, text });
        }
        self.check(call, result)?;
        Ok(self)
    }

    pub fn exit_call(&self) -> &'static str {
        if self.runner {
            "kxr_Exit"
        } else {
            "kx_Exit"
        }
    }

    fn call_exit(&self, context: i32, seconds: i32) -> i32 {
        let functions = self.functions();
        unsafe { (if self.runner { functions.kxr_Exit } else { functions.kx_Exit })(context, seconds) }
    }

    pub fn exit(&mut self, seconds: i32) -> Result<()> {
        if let Some(context) = self.context {
            let result = self.call_exit(context, seconds);
            if result != KX_OK {
                let (number, text) = (self.error_number(), self.error_text());
                return Err(Error { call: self.exit_call(), result, number, text });
            }
            self.destroy();
        }
        Ok(())
    }

    fn destroy(&mut self) {
        if let Some(context) = self.context.take() {
            unsafe { (self.functions().kx_ContextDestroy)(context) }
        }
    }

    pub fn read_back(&self) -> Result<PlayResult> {
        let extracts = self.extracts()?;
        let performance = self.performance()?;
        let data = copied("kx_GetPerformance", |buffer, size| unsafe {
            (self.functions().kx_GetPerformance)(self.context(), buffer, size)
        })?;
        let profiler_data = (!data.is_empty()).then(|| lossy(data));
        Ok(PlayResult { extracts, performance, profiler_data })
    }

    /// An empty extract has the size that one beyond the last has. The size of all, joined, tells when the last one was read.
    fn extracts(&self) -> Result<Vec<String>> {
        const CALL: &str = "kx_GetLastExtract";
        let copy = |index, buffer: *mut c_char, size| unsafe {
            (self.functions().kx_GetLastExtract)(self.context(), buffer, size, index)
        };
        let size = copy(0, std::ptr::null_mut(), 0);
        let whole = usize::try_from(size).map_err(|_| Error::without_number(CALL, size))?;
        let mut found = Vec::new();
        let mut length = 0;
        while whole > 0 && (found.is_empty() || length + 1 < whole) {
            let index = found.len() as c_int + 1;
            let extract = copied(CALL, |buffer, size| copy(index, buffer, size))?;
            length += extract.len() + if found.is_empty() { 0 } else { SEPARATOR.len() };
            found.push(lossy(extract));
        }
        Ok(found)
    }

    fn performance(&self) -> Result<Vec<PerformanceEntry>> {
        let copy = self.functions().kx_GetLastPerformance;
        let nothing = std::ptr::null_mut();
        let mut found = Vec::new();
        loop {
            let index = found.len() as c_int + 1;
            let (mut name_size, mut value_size) = (0, 0);
            if unsafe { copy(self.context(), index, nothing, &mut name_size, nothing, &mut value_size) } != KX_OK {
                return Ok(found);
            }
            let (mut name, mut value) = (vec![0; name_size as usize], vec![0; value_size as usize]);
            let (name_at, value_at) = (name.as_mut_ptr().cast(), value.as_mut_ptr().cast());
            match unsafe { copy(self.context(), index, name_at, &mut name_size, value_at, &mut value_size) } {
                KX_OK => {}
                result => return Err(Error::without_number("kx_GetLastPerformance", result)),
            }
            name.pop();
            value.pop();
            found.push(PerformanceEntry { name: lossy(name), value: lossy(value) });
        }
    }
}

impl Drop for Session {
    /// Closes the browser, if there is one; a failure of that is in the library's log.
    fn drop(&mut self) {
        if let Some(context) = self.context {
            self.call_exit(context, self.exit_seconds);
            self.destroy();
        }
    }
}

/// Without a copy where the bytes are UTF-8.
fn lossy(bytes: Vec<u8>) -> String {
    String::from_utf8(bytes).unwrap_or_else(|error| String::from_utf8_lossy(error.as_bytes()).into_owned())
}

/// Asks for the size, which counts the zero at the end, then for the text.
pub(crate) fn copied(call: &'static str, mut copy: impl FnMut(*mut c_char, c_int) -> c_int) -> Result<Vec<u8>> {
    let size = copy(std::ptr::null_mut(), 0);
    let mut buffer = vec![0; usize::try_from(size).map_err(|_| Error::without_number(call, size))?];
    if buffer.len() > 1 {
        let result = copy(buffer.as_mut_ptr().cast(), size);
        if result < 0 {
            return Err(Error::without_number(call, result));
        }
    }
    buffer.pop();
    Ok(buffer)
}
