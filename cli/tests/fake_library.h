// A library without browsers: its calls answer what the test has put in, and are noted.
#pragma once

#include "cli/library.h"

#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace kx::cli {

class FakeLibrary final : public Library {
 public:
  struct Answer {
    int result = 0;
    int number = 1;
    std::string text = "OK";
  };

  // Answers of the next calls of that kind; once they are used up, all goes well.
  std::map<std::string, std::deque<Answer>> answers;
  // Called before a play is answered.
  std::function<void()> duringPlay;
  bool isAttached = false;

  std::vector<std::string> calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
  }
  std::vector<StartCall> starts;
  std::size_t contextsAlive() const { return contexts_.size(); }

  int createContext() override {
    const std::lock_guard lock(mutex_);
    int number = 0;
    while (contexts_.contains(number)) {
      ++number;
    }
    contexts_[number] = {};
    return number;
  }
  void destroyContext(int context) override {
    const std::lock_guard lock(mutex_);
    contexts_.erase(context);
  }
  int errorNumber(int context) override {
    const std::lock_guard lock(mutex_);
    return contexts_.at(context).last.number;
  }
  std::string errorText(int context) override {
    const std::lock_guard lock(mutex_);
    return contexts_.at(context).last.text;
  }

  int start(int context, const StartCall& call) override {
    note("start");
    {
      const std::lock_guard lock(mutex_);
      starts.push_back(call);
    }
    return answer(context, "start");
  }
  int setVariable(int context, const std::string& name, const std::string& value) override {
    const std::lock_guard lock(mutex_);
    contexts_.at(context).variables[name] = value;
    return 0;
  }
  int play(int context, const std::string& macro, int /*timeoutSeconds*/) override {
    note("play " + macro);
    if (duringPlay) {
      duringPlay();
    }
    const std::lock_guard lock(mutex_);
    std::string extract = macro;
    for (const auto& [name, value] : contexts_.at(context).variables) {
      extract += " " + name + "=" + value;
    }
    contexts_.at(context).variables.clear();
    contexts_.at(context).extract = extract;
    return take(context, "play");
  }
  int display(int context, const std::string& message, int /*timeoutSeconds*/) override {
    note("display " + message);
    return answer(context, "display");
  }
  int takeScreenshot(int context, const std::string& path, int type, int /*timeoutSeconds*/) override {
    note("screenshot " + path + " " + std::to_string(type));
    return answer(context, "screenshot");
  }
  int exit(int context, int /*timeoutSeconds*/) override {
    note("exit");
    return answer(context, "exit");
  }
  std::vector<std::string> extracts(int context) override {
    const std::lock_guard lock(mutex_);
    return contexts_.at(context).last.number == 1 ? std::vector{contexts_.at(context).extract}
                                                  : std::vector<std::string>();
  }
  std::vector<PerformanceValue> performance(int /*context*/) override { return {{"load", "0.25"}}; }
  std::string profilerData(int /*context*/) override { return {}; }
  std::uint32_t processId(int /*context*/) override { return isAttached ? 0 : 42; }

  int launchRunner(int context, const StartCall& call, std::string& failedExport) override {
    note("launch " + call.options);
    const int result = answer(context, "launch");
    failedExport = "CreateProcessW";
    return result;
  }
  int startRunner(int context, const StartCall& /*call*/) override {
    note("start runner");
    return answer(context, "start runner");
  }
  int exitRunner(int context, int /*timeoutSeconds*/) override {
    note("exit runner");
    return answer(context, "exit runner");
  }
  void endRunner(int /*context*/, int /*timeoutSeconds*/) override { note("end runner"); }

 private:
  struct Context {
    Answer last{0, 0, ""};
    std::map<std::string, std::string> variables;
    std::string extract;
  };

  void note(const std::string& call) {
    const std::lock_guard lock(mutex_);
    calls_.push_back(call);
  }
  int answer(int context, const std::string& kind) {
    const std::lock_guard lock(mutex_);
    return take(context, kind);
  }
  int take(int context, const std::string& kind) {
    std::deque<Answer>& waiting = answers[kind];
    Answer one;
    if (!waiting.empty()) {
      one = waiting.front();
      waiting.pop_front();
    }
    contexts_.at(context).last = one;
    return one.result;
  }

  mutable std::mutex mutex_;
  std::vector<std::string> calls_;
  std::map<int, Context> contexts_;
};

}  // namespace kx::cli
