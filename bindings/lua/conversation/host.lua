-- Has a conversation with the library from LuaJIT, without a wrapper: bindings/conversation/README.md tells how.
--
--     luajit host.lua STEPS LIBRARY
local ffi = require("ffi")
local kx = require("kxtcp64").load(arg[2])

local context

-- JSON ----------------------------------------------------------------------------------------------------------------

local function json(text)
  return '"' .. text:gsub('[%z\1-\31"\\]', function(c)
    return (c == '"' or c == "\\") and "\\" .. c or string.format("\\u%04x", c:byte())
  end) .. '"'
end

local function list(texts)
  return "[" .. table.concat(texts, ", ") .. "]"
end

-- What calls have left ------------------------------------------------------------------------------------------------

-- Asks for the size, which counts the zero at the end, then for the text.
local function text_of(copy, ...)
  local size = copy(context, nil, 0, ...)
  if size <= 1 then
    return ""
  end
  local buffer = ffi.new("char[?]", size)
  copy(context, buffer, size, ...)
  return ffi.string(buffer, size - 1)
end

-- An empty extract has the size that one beyond the last has; the size of all, joined, tells the end.
local function extracts()
  local whole = kx.kx_GetLastExtract(context, nil, 0, 0)
  local found, length = {}, 0
  while whole > 0 and (#found == 0 or length + 1 < whole) do
    local extract = text_of(kx.kx_GetLastExtract, #found + 1)
    length = length + #extract + (#found > 0 and #"[EXTRACT]" or 0)
    found[#found + 1] = json(extract)
  end
  return list(found)
end

local function performance()
  local found = {}
  local name_size, value_size = ffi.new("int[1]"), ffi.new("int[1]")
  while kx.kx_GetLastPerformance(context, #found + 1, nil, name_size, nil, value_size) == 0 do
    local name, value = ffi.new("char[?]", name_size[0]), ffi.new("char[?]", value_size[0])
    kx.kx_GetLastPerformance(context, #found + 1, name, name_size, value, value_size)
    found[#found + 1] = list { json(ffi.string(name, name_size[0] - 1)), json(ffi.string(value, value_size[0] - 1)) }
  end
  return list(found)
end

local function left()
  return string.format('{"extracts": %s, "performance": %s, "profilerData": ', extracts(), performance())
    .. json(text_of(kx.kx_GetPerformance)) .. "}"
end

-- Steps ---------------------------------------------------------------------------------------------------------------

-- What a call has come to, as members of an object, and whether that is success: nothing but 0 and the number 1 is.
local function outcome(call, result, give)
  local number = kx.kx_GetLastErrorNumber(context)
  if result == 0 and number == 1 then
    return '"gives": ' .. give(), true
  end
  return string.format('"fails": {"call": "%s", "result": %d, "number": %d, "text": %s}', call, result, number,
    json(text_of(kx.kx_GetLastErrorText))), false
end

local function nothing()
  return "{}"
end

local steps = {}

function steps.start(program, profile, seconds)
  context = kx.kx_ContextCreate()
  local options = '-profiler -fxProfile="' .. profile .. '"'
  local text, right = outcome("kx_Init", kx.kx_Init(context, "fx", options, program, 0, 1, tonumber(seconds)), function()
    return string.format('{"launched": %s}', kx.kx_GetBrowserProcessId(context) ~= 0)
  end)
  if not right then
    kx.kx_ContextDestroy(context)
  end
  return text
end

function steps.variable(name, value)
  assert(kx.kx_SetVar(context, name, value) == 0)
  return '"gives": {}'
end

function steps.play(macro, seconds)
  local text, right = outcome("kx_Play", kx.kx_Play(context, macro, tonumber(seconds)), left)
  return right and text or text .. ', "left": ' .. left()
end

function steps.show(message, seconds)
  return (outcome("kx_Display", kx.kx_Display(context, message, tonumber(seconds)), nothing))
end

function steps.screenshot(area, path, seconds)
  local result = kx.kx_TakeBrowserScreenshot(context, path, area == "page" and 1 or 0, tonumber(seconds))
  return (outcome("kx_TakeBrowserScreenshot", result, nothing))
end

function steps.exit(seconds)
  assert(kx.kx_Exit(context, tonumber(seconds)) == 0)
  kx.kx_ContextDestroy(context)
  return '"gives": {}'
end

-- The file of steps ---------------------------------------------------------------------------------------------------

local escapes = { ["\\t"] = "\t", ["\\n"] = "\n", ["\\r"] = "\r", ["\\\\"] = "\\" }
local number = 0
for line in io.lines(arg[1]) do
  local fields = {}
  for field in (line .. "\t"):gmatch("(.-)\t") do
    fields[#fields + 1] = field:gsub("\\.", escapes)
  end
  number = number + 1
  io.write(string.format('{"step": %d, ', number), steps[fields[1]](unpack(fields, 2)), "}\n")
end
