#include "help_text.h"

namespace kxsim {
namespace {

constexpr const char* kUse =
    R"help(kxsim.exe plays a browser that carries the extension: it serves the extension's well-known pipe, reads the name
of a host's own pipe from it, connects back, and answers the requests it gets there. Copied or renamed to
firefox.exe or chrome.exe it can be launched in a browser's place.

USE
  kxsim.exe [browser switches] [options]

  It ends when it gets the request "exit", after ten minutes without any event, or when it is killed.

BROWSER SWITCHES (what hosts and the library pass)
  -P "name"                Firefox profile
  -no-remote               taken as a sign of Firefox
  --user-data-dir="dir"    taken as a sign of Chrome
  -kx-pipe "name"          the well-known pipe
  file://page.html?pipe=name   a start page that names the well-known pipe
  -kx-profiler             accepted

  A pipe name is a full path (\\.\pipe\...) or a short name, which stands for \\.\pipe\kx-<type>-<name>.<USERNAME>.
  The pipe is the first of: --pipe, the script's "pipe", -kx-pipe, the start page's, the default. The default is
  \\.\pipe\kx-cr-default.<USERNAME>, or for Firefox \\.\pipe\kx-fx-<profile>.<USERNAME>: the -P profile, or the one
  marked Default=1 in %APPDATA%\Mozilla\Firefox\profiles.ini unless StartWithLastProfile=0, or "default".
  The type is the first of: --type, the script's "type", what the switches tell, "cr" when the program's own name
  contains "chrome", "fx".

OPTIONS
  --help  --version        print and end
  --describe               print type, profile, pipe, script and record folder as name=value lines, and end
  --verbose                print every event (also: KXSIM_VERBOSE=1, or "verbose" in the script)
  --show-requests          print every request and its answer, each as one line of at most 4096 bytes
  --misbehaviours          print the ready-made misbehaviours, each with its script, and end
  --misbehave=NAME,NAME    misbehave so, besides what the script says
  --type=fx|cr  --pipe=NAME  --script=FILE  --record=FOLDER

ENVIRONMENT
  KXSIM_SCRIPT       script file; --script wins. Without either, the file beside the program that is named like it
                     but ends in ".script" (kxsim.exe: kxsim.script) is taken if it exists. Relative paths start from
                     the working directory, which for a launched browser is the program's folder.
  KXSIM_MISBEHAVE    names of misbehaviours with commas between them; --misbehave wins.
  KXSIM_RECORD       record folder; --record and the script's "record" win. "$(pid)" in it becomes the process id.
  KXSIM_PARENT_PID   the process ends when that process has ended; the script's "watch-parent" wins.
  KXSIM_VERBOSE      any value: print every event

RECORDED FILES (nothing is recorded without a record folder; the folder is made when it is missing)
  command-line.txt         the whole command line, as UTF-8, nothing added
  working-directory.txt    the working directory
  events.log               one event per line, appended
  name-line-C.bin          bytes read from the well-known pipe on connection C, the line feed included
  request-C-N.bin          raw bytes of request N on connection C, both counted from 1; written before the reply
  reply-C-N.bin            the whole reply to it as planned, even if only a part of it was sent
  torn-C-K.bin             a request that was broken off because the host began another one
  rest-C.bin               bytes of a request that had not ended when the host left

EXIT CODES
  0 after "exit" (or what "exit-code" says); "die" its own; 64 bad script, 70 the pipe cannot be served, 75 idle,
  76 the watched parent ended or does not exist
)help";

constexpr const char* kMacros = R"help(
MACROS
  The source of a "play" request: one command per line, blanks before it ignored, "#" begins a comment line.
  "$(name)" is replaced by the variable of that name, "$$" by a dollar sign.

  extract TEXT             adds an extract
  fill N                   adds an extract of N bytes: abc...zabc...
  let NAME TEXT            sets a variable
  performance NAME TEXT    adds a performance entry
  profile TEXT             adds a line to the profiler data, if the request asked for profiler data
  pause MS                 takes time
  status TEXT              the status to end with instead of "OK"
  fail NUMBER TEXT         ends the macro with this error code and status
  stop                     ends the macro with success

  A line that is no command ends the macro with error code -910, a variable that is not set with -911; the status
  says which line. What was extracted before stays. If the request asked for profiler data, every command leaves a
  line "line N: command" there.

STANDARD ANSWERS
  init, show               status "OK", error code 1 (success)
  play                     what the macro comes to
  capture                  writes a PNG to the path: the page (320 x 240) for "webpage", else the browser's window
                           (360 x 320); error code -930 when it cannot be written
  exit                     waitForProcessId is the own process id; when the reply has been read, the process ends
  any other type           error code -900; a request without a readable type: -901
)help";

constexpr const char* kRules = R"help(
SCRIPT
  One setting or rule per line; "#" begins a comment line; UTF-8. A script that cannot be understood ends the process
  with code 64 (the reason goes to the standard error output and, with --record or KXSIM_RECORD, to events.log).

  Settings
    type fx|cr             pipe NAME             record FOLDER        verbose
    idle-limit SECONDS     ends the process after so long without an event (600)
    watch-parent PID       ends the process when that one has ended
    lenient-macros         macro lines that are no commands, and unknown variables, are passed over
    launcher-process       the process starts itself once more and ends. The second one is the browser: it goes on when
                           the first has ended, and notes its id in the event log ("launcher pid=N")
    serve-never            the well-known pipe is not served
    connections N          the well-known pipe is gone after N connections
    server-buffer BYTES    buffer of the well-known pipe (4096). With 1, a host's write of the name line lasts until
                           the simulator reads it.
    early-connect          connects back, and does what "on connected" says, before the name line is taken off the
                           pipe: with a server-buffer of 1, which this setting brings along, the host is then still
                           inside its write. "on connected hang-up" so leaves before the host can wait for it.

  Rules
    on MOMENT[@C] [COUNT] ACTION...
    always ACTION...       the same as: on request ACTION...
    One action each; all rules that match run in the order of the script. @C: only on connection C (1 is the first).
    COUNT is 2, 2-4 or 2+ (the second; second to fourth; from the second on); without it, every time. Occurrences are
    counted over the whole process, with @C over that connection.

  Moments
    start                  the process has started; nothing is served yet
    serve                  just before the well-known pipe is made
    busy                   if there is any such rule: the pipe is there, but its only instance is taken until these
                           actions are through
    serving                hosts can connect now
    connect                a host has connected to the well-known pipe; its name line has not been read
    handshake              the name line has been read; the simulator has not connected back
    connected              the simulator has connected back
    before-request         before anything of the next request is read
    request                any request has been read and carried out; its reply is ready but not sent
    init play show capture exit    the same, for that type
    torn                   a request was broken off by the host, which has begun another one
    gone                   the connection has ended, whoever ended it

  Actions for any moment
    delay MS               wait-event NAME       set-event NAME (named Windows events; made, manual-reset, when
                           nobody has made them yet, and kept open until the process ends)
    log TEXT               an event line
    lock FILE              holds the file open without sharing, making it when missing; "unlock" lets all go
    lock-profile           the same with parent.lock of the Firefox profile in use
    die N                  the process ends at once with exit code N
    hold                   does nothing any more until the other end closes its pipe, then hangs up
    hang-up                ends this connection; no further action runs. Bytes sent so far are read by the host first
    stay                   from now on, "exit" does not end the process
    exit-code N            the code to end with after "exit"

  Action for "before-request" alone
    read N                 reads N bytes of the next request, and no more

  Actions for requests: content of the reply
    result N TEXT          error code and status
    status TEXT            error-code N          extract TEXT
    extract-fill N         an extract of N bytes           extract-table K N      K extracts of N bytes each
    performance NAME TEXT  profiler TEXT (a line of the profiler data)
    member NAME JSON       puts in a member, or replaces one
    drop NAME              leaves a member out
    nesting N              puts in the member "nested" with N arrays inside each other (the reply itself is one level
                           more)
    wait-for-pid X         X is self, none (left out) or a JSON text without blanks
    reply-size N           makes the reply N bytes long with one more generated extract
    reply TEXT             these bytes instead of a reply
    reply-file FILE        the file's bytes instead of a reply

  Actions for requests: sending it
    prepend TEXT           bytes before the reply          append TEXT            bytes behind it
    twice                  the reply two times in one write
    truncate N             only the first N bytes of all that
    split N                first N bytes, then the rest    pieces N N N...        sizes of the first pieces
    chunk N                pieces of N bytes (behind those of "pieces"); chunk 1 sends single bytes
    between MS             time between pieces. The next piece is sent only when the host has read the one before, so
                           every piece is seen by itself even without this.
    send [N]               sends the next N bytes now and goes on when they have been read; without N all that is left
    cut N                  send N, then hang-up
    no-reply               this request is never answered; "exit" does not end the process then

  What is not sent by an action is sent after the last action. The content is settled with the first "send".

  Texts: in every TEXT and JSON, but not in names of files and events, \n \r \t \\ and \xHH stand for bytes; any
  other backslash stays. In all texts, and names of files and events, $(pid) is the own process id, $(conn) and $(n)
  the connection and request number, $(type) the request's type, $(pipe) the well-known pipe, $(profile) the profile,
  $(env.NAME) an environment variable; $$ is a dollar sign.

  Example
    on serving set-event Local\ready
    on play 1 wait-event Local\go
    on play 2 chunk 1
    on play 3 cut 10
    on exit wait-for-pid 0
)help";

}  // namespace

std::string helpText() {
  return std::string(kVersionText) + kUse + kMacros + kRules;
}

}  // namespace kxsim
