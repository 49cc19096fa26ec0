//! Starts Firefox with the profile "work", plays a macro, prints its extracts, and closes Firefox.
//!
//!     first_steps BROWSER MACRO-TEXT

use kxtcp64::{Browser, StartOptions};

fn run(program: &str, source: &str) -> kxtcp64::Result<()> {
    let options = StartOptions { profile: Some("work".into()), program: Some(program.into()), ..Default::default() };
    let mut browser = Browser::start(&options)?;
    browser.set_variable("city", "Oslo")?;
    for extract in browser.play(source)?.extracts {
        println!("{extract}");
    }
    Ok(())
}

fn main() {
    let arguments: Vec<String> = std::env::args().collect();
    if let Err(error) = run(&arguments[1], &arguments[2]) {
        eprintln!("{error}");
        std::process::exit(1);
    }
}
