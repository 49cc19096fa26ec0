//! The wrapper with the DLL and the simulator.
#![cfg(windows)]

mod support;

use std::time::Duration;

use kxtcp64::*;
use support::{assert_error, library, World, SECOND};

#[test]
fn an_error_has_call_result_number_and_text() {
    let world = World::new(&["on show result -8 There is no window"]);
    let (_running, mut browser) = world.start();

    let failing = "extract first\nextract\nperformance load 1\nfail -50 There is no such button";
    let error = assert_error(browser.play(failing), ("kx_Play", KX_FAILED, -50, "There is no such button"));

    assert_eq!(error.to_string(), "kx_Play failed: result -1, error -50: There is no such button");
    let left = browser.last_play().unwrap();
    assert_eq!(left.extracts, ["first", ""]);
    assert_eq!(left.performance, [PerformanceEntry { name: "load".into(), value: "1".into() }]);
    assert_eq!(left.profiler_data, None);
    assert_error(browser.show("Hello"), ("kx_Display", KX_OK, -8, "There is no window"));
    let nowhere = world.folder.join("none").join("page.png");
    assert_error(
        browser.screenshot(nowhere, ScreenshotArea::Page),
        ("kx_TakeBrowserScreenshot", KX_OK, -930, "Could not write"),
    );
    // The extension's own number; no time has run out, and nothing is refused.
    let own = browser.play("fail -3 The page took too long");
    assert_error(own, ("kx_Play", KX_FAILED, KX_ERROR_TIMEOUT, "The page took too long"));
    assert_eq!(browser.play("extract next").unwrap().extracts, ["next"]);
}

#[test]
fn a_start_whose_answer_is_an_error_is_closed() {
    let world = World::new(&["on init result -7 Too old"]);
    let mut running = world.run();

    assert_error(Browser::start_runner(&world.options()), ("kxr_Init", KX_OK, -7, "Too old"));

    running.wait_for_end();
}

#[test]
fn after_a_time_out_requests_are_refused_with_the_remedy() {
    let world = World::new(&["on play 1 no-reply"]);
    let (mut running, mut browser) = world.start();
    browser.set_timeout(Some(Duration::from_millis(1))).unwrap();

    assert_error(browser.play("extract late"), ("kx_Play", KX_FAILED, KX_ERROR_TIMEOUT, "receiving"));

    for (call, refused) in [
        ("kx_Play", browser.play("").map(drop)),
        ("kx_SetVar", browser.set_variable("a", "b")),
        ("kx_Display", browser.show("")),
        ("kx_TakeBrowserScreenshot", browser.screenshot("a.png", ScreenshotArea::Browser)),
    ] {
        let error = assert_error(refused, (call, KX_FAILED, KX_ERROR_TIMEOUT, "an earlier request has timed out"));
        assert!(error.text.ends_with("; close this browser and start another"), "{error}");
    }
    assert_eq!(world.requests(), 2, "start and play");
    assert_eq!(browser.last_play().unwrap().extracts, [""; 0]);
    browser.exit(SECOND).unwrap();
    running.wait_for_end();
}

#[test]
fn after_an_answer_that_is_not_valid_requests_are_refused() {
    let world = World::new(&["on play 1 reply {]"]);
    let (_running, mut browser) = world.start();
    assert_error(browser.play(""), ("kx_Play", KX_FAILED, KX_ERROR_GENERAL, "Error in response processing"));

    assert_error(browser.play(""), ("kx_Play", KX_FAILED, KX_ERROR_GENERAL, "an earlier answer was not valid"));
}

#[test]
fn a_browser_is_closed_by_exit_and_when_it_is_dropped() {
    let world = World::new(&[]);
    let (mut running, mut browser) = world.start();
    browser.exit(None).unwrap();
    running.wait_for_end();
    browser.exit(SECOND).unwrap();
    assert_error(browser.play(""), ("kx_Play", KX_NO_CONTEXT, KX_ERROR_NONE, "the browser was closed"));
    assert_error(browser.last_play(), ("kx_GetLastExtract", KX_NO_CONTEXT, KX_ERROR_NONE, "the browser was closed"));

    let world = World::new(&[]);
    let (mut running, browser) = world.start();
    drop(browser);
    running.wait_for_end();
}

#[test]
fn an_exit_that_is_not_confirmed_keeps_a_runner_s_browser() {
    let world = World::new(&["on exit 1 no-reply"]);
    let (mut running, mut browser) = world.start();

    assert_error(browser.exit(SECOND), ("kxr_Exit", KX_TIMEOUT, KX_ERROR_TIMEOUT, "receiving"));

    browser.exit(SECOND).unwrap();
    running.wait_for_end();
}

#[test]
fn a_launched_browser_has_the_options_and_a_process() {
    let mut world = World::new(&[]);
    world.profile = format!("-my a=b -runner {}", world.profile);
    let options = StartOptions { program: Some(world.program()), ..world.options() };
    let mut launched = Browser::start(&options).unwrap();
    let mut attached = Browser::start(&StartOptions { attach_only: true, ..world.options() }).unwrap();

    assert!(world.recorded("command-line.txt").contains(&format!("-P \"{}\"", world.profile)));
    assert!(launched.process_id().is_some());
    assert_eq!(attached.process_id(), None);
    assert_eq!(attached.play("extract here").unwrap().extracts, ["here"]);
    launched.exit(None).unwrap();
    assert_error(attached.play(""), ("kx_Play", KX_FAILED, KX_ERROR_GENERAL, ""));
}

#[test]
fn an_attach_launches_nothing() {
    let world = World::new(&[]);
    let options = StartOptions { attach_only: true, timeout: SECOND, ..world.options() };
    assert_error(Browser::start(&options), ("kx_Init", 3, -3, "no running browser serves"));
}

#[test]
fn a_browser_can_be_used_on_another_thread() {
    let world = World::new(&[]);
    let (_running, mut browser) = world.start();
    let played = std::thread::spawn(move || browser.play("extract there").unwrap()).join().unwrap();
    assert_eq!(played.extracts, ["there"]);
}

#[test]
fn bytes_that_are_no_utf_8_are_replaced_and_the_next_extract_is_found() {
    let world = World::new(&["on play extract \\xff\\xfe", "on play extract next"]);
    let (_running, mut browser) = world.start();
    assert_eq!(browser.play("").unwrap().extracts, ["\u{FFFD}\u{FFFD}", "next"]);
}

#[test]
fn the_arguments_of_a_runner_s_browser() {
    let chrome = StartOptions {
        browser: BrowserType::Chrome,
        user_data_dir: Some("C:\\my data".into()),
        library: Some(library()),
        ..Default::default()
    };
    let arguments = Browser::runner_arguments(&chrome, Some("C:\\page.html".as_ref())).unwrap();
    assert!(arguments.starts_with("--user-data-dir=\"C:\\my data\" file://C:\\page.html?pipe="), "{arguments}");
    let error = Browser::start_runner(&StartOptions::default());
    assert_error(error, ("kxr_Init", KX_FAILED, KX_ERROR_NONE, "needs a profile"));
}

#[test]
fn a_runner_s_start_needs_a_time_out_with_an_end() {
    let options =
        StartOptions { profile: Some("work".into()), timeout: None, library: Some(library()), ..Default::default() };
    let error = Browser::start_runner(&options);
    assert_error(error, ("kxr_Init", KX_FAILED, KX_ERROR_NONE, "a runner's timeout has an end"));
}

#[test]
fn options_that_cannot_be_meant_are_refused() {
    let start = || StartOptions { library: Some(library()), ..Default::default() };
    let profile = |name: &str| StartOptions { profile: Some(name.into()), ..start() };
    for (text, options) in [
        ("double quote", profile("a\"b")),
        ("control character", profile("a\nb")),
        ("is empty", profile("")),
        ("ends in a backslash", profile("a\\")),
        ("is for Firefox", StartOptions { browser: BrowserType::Chrome, ..profile("a") }),
        ("is for Chrome", StartOptions { user_data_dir: Some("C:\\a".into()), ..start() }),
        ("means nothing", StartOptions { program: Some("a.exe".into()), attach_only: true, ..start() }),
        ("no path", StartOptions { program: Some("".into()), ..start() }),
        ("zero character", StartOptions { program: Some("a\0b".into()), ..start() }),
        ("above zero", StartOptions { timeout: Some(Duration::ZERO), ..start() }),
        ("above zero", StartOptions { exit_timeout: Some(Duration::MAX), ..start() }),
    ] {
        assert_error(Browser::start(&options), ("kx_Init", KX_FAILED, KX_ERROR_NONE, text));
    }
}

#[test]
fn texts_that_would_arrive_cut_or_spoil_the_request_are_refused() {
    let world = World::new(&[]);
    let (_running, mut browser) = world.start();
    for name in ["a\"b", "a\\b", "a\tb", "a\0b"] {
        assert_error(browser.set_variable(name, ""), ("kx_SetVar", KX_FAILED, KX_ERROR_NONE, "name holds"));
    }
    let zero = "zero character";
    assert_error(browser.set_variable("a", "a\0b"), ("kx_SetVar", KX_FAILED, KX_ERROR_NONE, zero));
    assert_error(browser.play("a\0b"), ("kx_Play", KX_FAILED, KX_ERROR_NONE, zero));
    assert_error(browser.show("\0"), ("kx_Display", KX_FAILED, KX_ERROR_NONE, zero));
    let picture = browser.screenshot("\0", ScreenshotArea::Page);
    assert_error(picture, ("kx_TakeBrowserScreenshot", KX_FAILED, KX_ERROR_NONE, zero));
    let wrong = browser.set_timeout(Some(Duration::ZERO));
    assert_error(wrong, ("kxtcp64::Browser::set_timeout", KX_FAILED, KX_ERROR_NONE, "above zero"));
    assert_eq!(world.requests(), 1, "the start alone");
}

#[test]
fn a_file_that_is_not_the_library() {
    const CALL: &str = "kxtcp64::Library::load";
    assert_error(Library::load("C:\\none.dll"), (CALL, KX_FAILED, KX_ERROR_NONE, "none.dll cannot be loaded"));
    let other = Library::load("kernel32.dll");
    assert_error(other, (CALL, KX_FAILED, KX_ERROR_NONE, "has no function kx_ContextCreate"));
}
