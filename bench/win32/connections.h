// The two things that are compared: a context of the loaded library, and a bare connection. Both talk to the
// same peer, over pipes of the same kind, after the same handshake.
#pragma once

#include "support/win32/dll.h"
#include "win32/pipe_end.h"

#include <string>

// The peer as a process of its own, which ends with this object.
class Peer {
 public:
  Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  ~Peer();

  // The Firefox profile whose runner the peer plays, and the pipe that goes with it.
  const std::string& profile() const { return profile_; }
  const std::wstring& pipe() const { return pipe_; }

 private:
  std::string profile_;
  std::wstring pipe_;
  HANDLE process_ = nullptr;
};

// A program in this one's folder, started with that command line, of which it is the first word.
HANDLE startedProgram(const std::string& commandLine);

// How a bare connection begins and ends.
enum class Handshake {
  PipesOnly,     // open, create, write, accept; flush, disconnect, close
  AsTheLibrary,  // with the start lock, the read mode, the events and the questions that go with them
};

class BareConnection {
 public:
  explicit BareConnection(const std::wstring& peerPipe, Handshake handshake = Handshake::PipesOnly);
  BareConnection(const BareConnection&) = delete;
  BareConnection& operator=(const BareConnection&) = delete;

  // Sends the request and reads the answer, which is known to have that many bytes. The bytes are read and
  // left: this is what the pipe alone costs.
  void exchange(const std::string& request, std::size_t answerBytes);

  // What the library sent last, and the answer to a request as text.
  std::string lastRequest();
  std::string answer(const std::string& request, std::size_t answerBytes);

  // Closes the connection as the library closes its own.
  void close() { own_.flushAndClose(); }

 private:
  static PipeEnd::Extras extrasOf(Handshake handshake);

  PipeEnd own_;
};

class LibraryContext {
 public:
  LibraryContext(const KxLibrary& library, const std::string& profile);
  LibraryContext(const LibraryContext&) = delete;
  LibraryContext& operator=(const LibraryContext&) = delete;
  ~LibraryContext();

  int number() const { return number_; }
  // Both throw when the library reports a failure.
  void display() const;
  void play(const std::string& source) const;

 private:
  const KxLibrary& library_;
  int number_;
};

// kxr_Init and kxr_Exit need both options; the profile leads to the peer's pipe.
std::string runnerOptions(const std::string& profile);

inline constexpr int kTimeoutSeconds = 300;
inline constexpr char kMessage[] = "a message";
