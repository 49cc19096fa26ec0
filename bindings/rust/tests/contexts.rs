//! No context stays behind. A program of its own: the numbers of contexts are those of the process.
#![cfg(windows)]

mod support;

use std::os::raw::{c_char, c_int, c_void};

use kxtcp64::{Browser, StartOptions};
use support::{assert_error, World, SECOND};

extern "system" {
    fn GetModuleHandleA(name: *const c_char) -> *mut c_void;
    fn GetProcAddress(module: *mut c_void, name: *const c_char) -> *const ();
}

/// The lowest number that is free.
fn next_context() -> c_int {
    unsafe {
        let module = GetModuleHandleA("KXTCP64.dll\0".as_ptr().cast());
        let create = GetProcAddress(module, "kx_ContextCreate\0".as_ptr().cast());
        let destroy = GetProcAddress(module, "kx_ContextDestroy\0".as_ptr().cast());
        assert!(!create.is_null() && !destroy.is_null());
        let context = std::mem::transmute::<_, extern "system" fn() -> c_int>(create)();
        std::mem::transmute::<_, extern "system" fn(c_int)>(destroy)(context);
        context
    }
}

#[test]
fn no_context_stays_behind() {
    let world = World::new(&["on init 1 result -7 Too old"]);
    let none = StartOptions { program: Some("C:\\none.exe".into()), ..world.options() };
    assert_error(Browser::start(&none), ("kx_Init", 2, -2, "none.exe doesn't exists"));
    assert_eq!(next_context(), 0, "after a launch that failed");

    let running = world.run();
    assert_error(Browser::start_runner(&world.options()), ("kxr_Init", 0, -7, "Too old"));
    assert_eq!(next_context(), 0, "after a start that was answered with an error");
    drop(running);

    let world = World::new(&[]);
    let (_running, browser) = world.start();
    assert_eq!(next_context(), 1);
    drop(browser);
    assert_eq!(next_context(), 0, "after a drop");

    let world = World::new(&[]);
    let (_running, mut browser) = world.start();
    browser.exit(SECOND).unwrap();
    assert_eq!(next_context(), 0, "after an exit");
}
