# Has a conversation with the library from Ruby, without a wrapper: bindings/conversation/README.md tells how.
#
#     ruby host.rb STEPS LIBRARY
require "json"
require_relative "../kxtcp64"

ESCAPES = { '\t' => "\t", '\n' => "\n", '\r' => "\r", '\\\\' => "\\" }.freeze

# Asks for the size, which counts the zero at the end, then for the text.
def text_of(function, *rest)
  size = Kxtcp64.send(function, @context, nil, 0, *rest)
  return "" if size <= 1

  buffer = "\0" * size
  Kxtcp64.send(function, @context, buffer, size, *rest)
  buffer.force_encoding(Encoding::UTF_8).byteslice(0, size - 1)
end

# An empty extract has the size that one beyond the last has; the size of all, joined, tells the end.
def extracts
  whole = Kxtcp64.kx_GetLastExtract(@context, nil, 0, 0)
  found = []
  length = 0
  while whole.positive? && (found.empty? || length + 1 < whole)
    found << text_of(:kx_GetLastExtract, found.size + 1)
    length += found.last.bytesize + (found.size > 1 ? "[EXTRACT]".bytesize : 0)
  end
  found
end

def performance
  found = []
  sizes = Array.new(2) { [0].pack("l") }
  while Kxtcp64.kx_GetLastPerformance(@context, found.size + 1, nil, sizes[0], nil, sizes[1]).zero?
    buffers = sizes.map { |size| "\0" * size.unpack1("l") }
    Kxtcp64.kx_GetLastPerformance(@context, found.size + 1, buffers[0], sizes[0], buffers[1], sizes[1])
    found << buffers.map { |buffer| buffer.force_encoding(Encoding::UTF_8).chomp("\0") }
  end
  found
end

def left
  { extracts: extracts, performance: performance, profilerData: text_of(:kx_GetPerformance) }
end

# What a call has come to. Nothing but 0 and the number 1 is success.
def outcome(call, result)
  number = Kxtcp64.kx_GetLastErrorNumber(@context)
  return { gives: yield } if result.zero? && number == 1

  { fails: { call: call, result: result, number: number, text: text_of(:kx_GetLastErrorText) } }
end

def start(program, profile, seconds)
  @context = Kxtcp64.kx_ContextCreate
  options = "-profiler -fxProfile=\"#{profile}\""
  result = Kxtcp64.kx_Init(@context, "fx", options, program, 0, 1, seconds.to_i)
  came_to = outcome("kx_Init", result) { { launched: Kxtcp64.kx_GetBrowserProcessId(@context) != 0 } }
  Kxtcp64.kx_ContextDestroy(@context) if came_to[:fails]
  came_to
end

def step(name, *fields)
  case name
  when "start" then start(*fields)
  when "variable" then Kxtcp64.kx_SetVar(@context, *fields).zero? ? { gives: {} } : {}
  when "play"
    came_to = outcome("kx_Play", Kxtcp64.kx_Play(@context, fields[0], fields[1].to_i)) { left }
    came_to[:fails] ? came_to.merge(left: left) : came_to
  when "show" then outcome("kx_Display", Kxtcp64.kx_Display(@context, fields[0], fields[1].to_i)) { {} }
  when "screenshot"
    result = Kxtcp64.kx_TakeBrowserScreenshot(@context, fields[1], fields[0] == "page" ? 1 : 0, fields[2].to_i)
    outcome("kx_TakeBrowserScreenshot", result) { {} }
  when "exit"
    result = Kxtcp64.kx_Exit(@context, fields[0].to_i)
    Kxtcp64.kx_ContextDestroy(@context)
    result.zero? ? { gives: {} } : {}
  else abort "there is no step #{name}"
  end
end

Kxtcp64.load(ARGV[1])
File.foreach(ARGV[0], chomp: true, encoding: "UTF-8").with_index(1) do |line, number|
  fields = line.split("\t", -1).map { |field| field.gsub(/\\./, ESCAPES) }
  puts JSON.generate({ step: number }.merge(step(*fields)))
end
