#include "win32/pipe/extension_peer.h"

#include <gtest/gtest.h>

#include <utility>

ExtensionPeer::ExtensionPeer(const std::string& serverPipeName) : server_(RawPipe::server(serverPipeName)) {
  EXPECT_TRUE(server_) << serverPipeName;
}

ExtensionPeer::~ExtensionPeer() {
  finish();
}

void ExtensionPeer::play(std::function<void(ExtensionPeer&)> steps) {
  finish();
  thread_ = std::thread([this, steps = std::move(steps)] { steps(*this); });
}

void ExtensionPeer::finish() {
  if (thread_.joinable()) {
    thread_.join();
  }
}

void ExtensionPeer::receiveConnectionData() {
  EXPECT_TRUE(server_.accept()) << "no host came";
  connectionData_ = server_.readToEnd();
}

void ExtensionPeer::connectBack() {
  // The line feed at the end is no part of the name.
  channel_ = RawPipe::client(connectionData_.substr(0, connectionData_.find('\n')));
  EXPECT_TRUE(channel_) << "cannot connect back to " << connectionData_;
}

void ExtensionPeer::takeHost() {
  receiveConnectionData();
  connectBack();
}

void ExtensionPeer::receive(std::size_t size) {
  const std::string bytes = channel_.readExactly(size);
  EXPECT_EQ(bytes.size(), size) << "the request ended early";
  requests_ += bytes;
}

void ExtensionPeer::receiveToEnd() {
  requests_ += channel_.readToEnd();
}

void ExtensionPeer::reply(const std::string& bytes) {
  EXPECT_TRUE(channel_.write(bytes));
}

void ExtensionPeer::hangUp() {
  channel_.close();
}

void ExtensionPeer::serveAgain() {
  server_.disconnect();
}
