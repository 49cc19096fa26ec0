// A browser's extension, played in the test process with Windows calls alone: it serves the well-known pipe,
// reads the name line, connects back to the pipe named there and exchanges bytes as a test tells it to. Its
// steps run on a thread of its own; each is bounded, so that a test that goes wrong fails instead of hanging.
#pragma once

#include "win32/pipe/raw_pipe.h"

#include <cstddef>
#include <functional>
#include <string>
#include <thread>

class ExtensionPeer {
 public:
  // Serves the pipe from now on.
  explicit ExtensionPeer(const std::string& serverPipeName);
  ExtensionPeer(const ExtensionPeer&) = delete;
  ExtensionPeer& operator=(const ExtensionPeer&) = delete;
  ~ExtensionPeer();

  // Begins to run the steps; finish() waits until they are done.
  void play(std::function<void(ExtensionPeer&)> steps);
  void finish();

  // Steps. A host has finished its connection data when it has closed the well-known pipe.
  void receiveConnectionData();
  void connectBack();
  void takeHost();  // both
  void receive(std::size_t size);
  void receiveToEnd();
  void reply(const std::string& bytes);
  void hangUp();
  // Ends the connection of the well-known pipe, so that the next host can come.
  void serveAgain();

  // Whether the host still holds its end of the communication pipe.
  bool isConnected() const { return channel_.isConnected(); }

  // What has been received so far; read it after finish().
  const std::string& connectionData() const { return connectionData_; }
  const std::string& requests() const { return requests_; }

 private:
  RawPipe server_;
  RawPipe channel_;
  std::string connectionData_;
  std::string requests_;
  std::thread thread_;
};
