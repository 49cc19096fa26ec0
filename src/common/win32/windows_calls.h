// The Windows calls whose results decide what the library does, in one table, so that a test can put its own
// in place of one that cannot be made to fail, or to fall short, on a real pipe or process. Every call that
// waits, and the clock, are in it: a test can let ten minutes pass in no time. Outside tests the table is
// never written.
#pragma once

#include <windows.h>

namespace kx {

struct WindowsCalls {
  // pipes
  decltype(&::SetSecurityDescriptorDacl) setSecurityDescriptorDacl = &::SetSecurityDescriptorDacl;
  decltype(&::CreateNamedPipeW) createNamedPipe = &::CreateNamedPipeW;
  decltype(&::CreateFileW) createFile = &::CreateFileW;
  decltype(&::WaitNamedPipeW) waitNamedPipe = &::WaitNamedPipeW;
  decltype(&::SetNamedPipeHandleState) setNamedPipeHandleState = &::SetNamedPipeHandleState;
  decltype(&::GetNamedPipeInfo) getNamedPipeInfo = &::GetNamedPipeInfo;
  decltype(&::ConnectNamedPipe) connectNamedPipe = &::ConnectNamedPipe;
  decltype(&::FlushFileBuffers) flushFileBuffers = &::FlushFileBuffers;
  decltype(&::DisconnectNamedPipe) disconnectNamedPipe = &::DisconnectNamedPipe;
  decltype(&::ReadFile) readFile = &::ReadFile;
  decltype(&::WriteFile) writeFile = &::WriteFile;
  decltype(&::GetOverlappedResult) getOverlappedResult = &::GetOverlappedResult;
  decltype(&::CancelIoEx) cancelIo = &::CancelIoEx;
  decltype(&::CreateEventA) createEvent = &::CreateEventA;
  decltype(&::WaitForMultipleObjects) waitForMultipleObjects = &::WaitForMultipleObjects;
  decltype(&::CloseHandle) closeHandle = &::CloseHandle;

  // time
  decltype(&::GetTickCount64) getTickCount = &::GetTickCount64;
  decltype(&::Sleep) sleep = &::Sleep;

  // processes and the start lock
  decltype(&::FindFirstFileW) findFirstFile = &::FindFirstFileW;
  decltype(&::CreateProcessW) createProcess = &::CreateProcessW;
  decltype(&::OpenProcess) openProcess = &::OpenProcess;
  decltype(&::TerminateProcess) terminateProcess = &::TerminateProcess;
  decltype(&::CreateMutexW) createMutex = &::CreateMutexW;
  decltype(&::WaitForSingleObject) waitForSingleObject = &::WaitForSingleObject;
  decltype(&::GetVersionExA) getVersion = &::GetVersionExA;
};

WindowsCalls& windowsCalls();

}  // namespace kx
