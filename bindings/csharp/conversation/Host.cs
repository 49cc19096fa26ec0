// Has a conversation with the wrapper for C#: bindings/conversation/README.md tells how.
//
//     host STEPS LIBRARY
using System;
using System.Collections.Generic;
using System.IO;
using System.Linq;
using System.Runtime.InteropServices;
using System.Text;
using System.Text.Json;
using Kxtcp64;

Browser browser = null;

NativeLibrary.SetDllImportResolver(typeof(Browser).Assembly, (name, assembly, path) => NativeLibrary.Load(args[1]));
using Stream output = Console.OpenStandardOutput();
int number = 0;
foreach (string line in File.ReadAllText(args[0]).Split('\n', StringSplitOptions.RemoveEmptyEntries)) {
  string[] words = line.Split('\t').Select(Field).ToArray();
  using (var json = new Utf8JsonWriter(output)) {
    json.WriteStartObject();
    json.WriteNumber("step", ++number);
    Do(json, words[0], words[1..]);
    json.WriteEndObject();
  }
  output.WriteByte((byte)'\n');
  output.Flush();
}

void Do(Utf8JsonWriter json, string step, string[] fields) {
  try {
    Action<Utf8JsonWriter> gives = Take(step, fields);
    json.WriteStartObject("gives");
    gives(json);
    json.WriteEndObject();
  } catch (KxException error) {
    json.WriteStartObject("fails");
    json.WriteString("call", error.Call);
    json.WriteNumber("result", error.Result);
    json.WriteNumber("number", error.Number);
    json.WriteString("text", error.Text);
    json.WriteEndObject();
    if (step == "play") WriteWhatWasLeft(json);
  }
}

Action<Utf8JsonWriter> Take(string step, string[] fields) {
  TimeSpan time = step == "variable" ? default : TimeSpan.FromSeconds(int.Parse(fields[^1]));
  switch (step) {
    case "start":
      browser = Browser.Start(new StartOptions {
        Program = fields[0], Profile = fields[1], Timeout = time, Profiler = true, OpenNewBrowser = true
      });
      bool launched = browser.ProcessId != null;
      return json => json.WriteBoolean("launched", launched);
    case "variable":
      browser.SetVariable(fields[0], fields[1]);
      break;
    case "play":
      PlayResult played = browser.Play(fields[0], time);
      return json => Write(json, played);
    case "show":
      browser.Show(fields[0], time);
      break;
    case "screenshot":
      browser.Screenshot(fields[1], fields[0] == "page" ? ScreenshotArea.Page : ScreenshotArea.Browser, time);
      break;
    case "exit":
      browser.Exit(time);
      break;
    default:
      throw new InvalidDataException(step);
  }
  return json => { };
}

void WriteWhatWasLeft(Utf8JsonWriter json) {
  try {
    PlayResult left = browser.LastPlay();
    json.WriteStartObject("left");
    Write(json, left);
    json.WriteEndObject();
  } catch (KxException) {
  }
}

static void Write(Utf8JsonWriter json, PlayResult played) {
  json.WriteStartArray("extracts");
  foreach (string extract in played.Extracts) json.WriteStringValue(extract);
  json.WriteEndArray();
  json.WriteStartArray("performance");
  foreach (KeyValuePair<string, string> entry in played.Performance) {
    json.WriteStartArray();
    json.WriteStringValue(entry.Key);
    json.WriteStringValue(entry.Value);
    json.WriteEndArray();
  }
  json.WriteEndArray();
  json.WriteString("profilerData", played.ProfilerData ?? "");
}

static string Field(string text) {
  var result = new StringBuilder();
  for (int index = 0; index < text.Length; ++index) {
    result.Append(text[index] != '\\' ? text[index] : text[++index] switch { 't' => '\t', 'n' => '\n', 'r' => '\r', var c => c });
  }
  return result.ToString();
}
