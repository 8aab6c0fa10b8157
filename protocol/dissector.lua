-- Shows the line between head unit and CAN box in Wireshark: packets of the link type USER0, which hold the line's bytes,
-- and CAN frames whose id is a frame's type and whose data is its payload. It knows the frames from the table
-- "description", which stands in front of it; "boxdecode --write-dissector" puts the two together.

local Header, Good, Bad = 0x2E, 0xFF, 0xF0
local Preamble = 3 -- header, type, length
local Envelope = Preamble + 1

local canbox = Proto("canbox", "CAN box line")
canbox.prefs.carmodel = Pref.string("Car model id", "", "Some fields are read differently, depending on the car model")

local heads = {
  kind = ProtoField.string("canbox.kind", "Kind"),
  direction = ProtoField.string("canbox.direction", "Direction"),
  frame = ProtoField.string("canbox.frame", "Frame"),
  group = ProtoField.string("canbox.group", "Group"),
  type = ProtoField.uint8("canbox.type", "Type", base.HEX),
  length = ProtoField.uint8("canbox.length", "Length"),
  payload = ProtoField.bytes("canbox.payload", "Payload"),
  checksum = ProtoField.uint8("canbox.checksum", "Checksum", base.HEX),
  bytes = ProtoField.bytes("canbox.bytes", "Bytes"),
  changed = ProtoField.string("canbox.changed", "Changed"),
}

local problems = {
  checksum = ProtoExpert.new("canbox.problem.checksum", "Wrong checksum", expert.group.CHECKSUM, expert.severity.ERROR),
  unfinished = ProtoExpert.new("canbox.problem.unfinished", "Unfinished frame", expert.group.MALFORMED, expert.severity.ERROR),
  noise = ProtoExpert.new("canbox.problem.noise", "Bytes outside frames", expert.group.MALFORMED, expert.severity.WARN),
  length = ProtoExpert.new("canbox.problem.length", "Wrong length", expert.group.PROTOCOL, expert.severity.WARN),
  partial = ProtoExpert.new("canbox.problem.partial", "Unusual length", expert.group.PROTOCOL, expert.severity.NOTE),
  unknown = ProtoExpert.new("canbox.problem.unknown", "Unknown type", expert.group.UNDECODED, expert.severity.NOTE),
}

-- Fields that tell the same have one path; they are one to Wireshark.
local makers = {
  bool = function(path, label, about) return ProtoField.bool(path, label, base.NONE, nil, 0, about) end,
  int = function(path, label, about) return ProtoField.int32(path, label, base.DEC, nil, nil, about) end,
  double = ProtoField.double,
  string = function(path, label, about) return ProtoField.string(path, label, base.UNICODE, about) end,
  bytes = function(path, label, about) return ProtoField.bytes(path, label, base.SPACE, about) end,
}
local fields, markers = {}, {}
for _, frame in pairs(description.frames) do
  for _, field in ipairs(frame.fields) do
    local path = "canbox." .. field.path
    field.label = field.path:match("[^.]+$")
    fields[field.path] = fields[field.path] or makers[field.type](path, field.label, field.about)
    if field.type == "int" or field.type == "double" then
      markers[field.path] = markers[field.path] or makers.string(path .. ".marker", field.label, "What it says instead of a number")
    end
  end
end
for _, list in ipairs({heads, fields, markers}) do
  for _, field in pairs(list) do
    table.insert(canbox.fields, field)
  end
end
canbox.experts = problems

-- The id of the CAN frame around a payload.
local canId = Field.new("can.id")

local carModel -- its id, of the preference
local texts = {} -- what the fields of each type read in its last frame
local changes = {} -- the paths of the fields that changed, by packet and offset

function canbox.init()
  carModel = tonumber(canbox.prefs.carmodel)
  texts, changes = {}, {}
end

local function contains(list, wanted)
  for _, element in ipairs(list) do
    if element == wanted then return true end
  end
  return false
end

-- A payload is a table: the buffer that holds it, its offset there, and its size.

local function rangeOf(place, payload)
  local size = math.max(0, math.min(place.bytes, payload.size - place.byte))
  return size > 0 and payload.buffer(payload.offset + place.byte, size) or nil
end

local function isWithin(place, payload)
  return place.byte + place.bytes <= payload.size
end

local function codeOf(place, payload)
  if not isWithin(place, payload) then return place.missing end
  return math.floor(rangeOf(place, payload):uint() / 2 ^ place.shift) % (place.mask + 1)
end

local function hold(conditions, payload)
  for _, condition in ipairs(conditions) do
    local holds
    if condition.carModels then
      holds = contains(description.carModels[condition.carModels], carModel) == (condition.isListed == true)
    elseif condition.codes then
      holds = contains(condition.codes, codeOf(condition, payload))
    else
      holds = not isWithin(condition, payload)
    end
    if not holds then return false end
  end
  return true
end

local function ruleOf(field, payload)
  for _, rule in ipairs(field.rules) do
    if hold(rule.conditions, payload) then return rule end
  end
end

local function pieceOf(rule, code)
  for _, piece in ipairs(rule.pieces) do
    if code >= piece.first and code <= piece.last then return piece end
  end
end

-- Reads a code: number, name, and whether what was read before stays.
local function read(field, rule, code)
  if rule.isConstant then return rule.offset, rule.name end
  local piece = pieceOf(rule, code)
  if piece then return piece.value + (code - piece.first) * piece.step, piece.name, piece.isKept end
  if rule.isSigned and code > field.mask / 2 then code = code - field.mask - 1 end
  return math.min(code * rule.step + rule.offset, rule.limit or math.huge)
end

local function textOf(field, payload)
  local range = rangeOf(field, payload)
  if not range then return "" end
  if field.kind == "raw" then return range:bytes():tohex(false, " ") end
  local unit = field.kind == "utf16" and 2 or 1
  local size = 0
  while size + unit <= range:len() and range(size, unit):uint() ~= 0 do
    size = size + unit
  end
  if size == 0 then return "" end
  return unit == 2 and range(0, size):le_ustring() or range(0, size):string(ENC_UTF_8)
end

local function codeText(code)
  return ("0x%02X"):format(code)
end

-- What a field says: its text for people, and what filters ask for: a value or a marker. Nothing where it is not there.
local function decode(field, payload)
  if not hold(field.conditions, payload) then return nil end
  if field.mask == 0 then
    local text = textOf(field, payload)
    return {text = text, value = text}
  end
  local rule, code = ruleOf(field, payload), codeOf(field, payload)
  local number, name, isKept = read(field, rule, code)
  if isKept or (field.isKeptMissing and not isWithin(field, payload)) then return {text = "as before"} end
  if field.isInverted then number = 1 - number end
  if field.kind == "flag" then return {text = tostring(number ~= 0), value = number ~= 0} end
  if field.kind == "code" then
    local text = name or codeText(code)
    return {text = text, value = text}
  end
  if name then return {text = name, marker = name} end
  local text = ("%." .. rule.decimals .. "f"):format(number / 10 ^ rule.decimals)
  return {text = rule.unit and text .. " " .. rule.unit or text, value = number / 10 ^ rule.decimals}
end

local function addField(tree, field, said, payload)
  local range = rangeOf(field, payload) or payload.buffer(payload.offset, 0)
  local label = field.label .. ": " .. said.text
  local item
  if said.marker then
    item = tree:add(markers[field.path], range, said.marker, label)
  elseif said.value == nil then
    item = tree:add(range, label)
  elseif field.type == "bytes" then
    item = tree:add(fields[field.path], range)
  else
    item = tree:add(fields[field.path], range, said.value, label)
  end
  if field.mask > 0 and not isWithin(field, payload) then item:append_text(" (its bytes are missing)") end
end

-- Notes which of what the fields of a frame say is new. Wireshark asks for packets in their order at first.
local function changesOf(frame, said, pinfo, offset)
  local key = pinfo.number .. ":" .. offset
  if not pinfo.visited then
    local before = texts[frame] or {}
    local changed = {}
    for index, field in ipairs(frame.fields) do
      if said[index] and said[index].text ~= before[field] then table.insert(changed, index) end
      before[field] = said[index] and said[index].text
    end
    texts[frame], changes[key] = before, changed
  end
  return changes[key] or {}
end

-- Adds the fields of a good frame. Returns what is new for the column.
local function addFields(tree, frame, payload, pinfo)
  local said, news = {}, {}
  for index, field in ipairs(frame.fields) do
    said[index] = decode(field, payload)
    if said[index] then addField(tree, field, said[index], payload) end
  end
  for _, index in ipairs(changesOf(frame, said, pinfo, payload.offset)) do
    local field = frame.fields[index]
    tree:add(heads.changed, field.path):set_generated()
    table.insert(news, field.label .. "=" .. said[index].text)
  end
  return table.concat(news, ", ")
end

-- What is unusual in the length of a payload, as an expert note and in words.
local function lengthProblem(frame, size)
  local read = frame.length or frame.bytesRead
  if size == read or (frame.isOpen and not frame.length) then return nil end
  if frame.length then
    return problems.length, ("length %d instead of %d, without effect"):format(size, read)
  end
  return problems.partial, ("length %d" .. (size < read and " of %d" or ", of which are read %d")):format(size, read)
end

local function note(tree, problem, text)
  tree:add_proto_expert_info(problem, text)
  return "[" .. text .. "]"
end

-- Adds a payload. Returns the column's text.
local function addPayload(tree, type, payload, pinfo)
  local frame = description.frames[type]
  if payload.size > 0 then tree:add(heads.payload, payload.buffer(payload.offset, payload.size)) end
  if not frame then
    return note(tree, problems.unknown, ("unknown type %02X"):format(type))
  end
  local problem, text = lengthProblem(frame, payload.size)
  local column = problem and " " .. note(tree, problem, text) or ""
  if problem == problems.length then return frame.name .. column end
  local news = addFields(tree, frame, payload, pinfo)
  return frame.name .. (news ~= "" and ": " .. news or "") .. column
end

-- Who sent it: the frame's type tells, or else the packet's flags.
local function isToBox(pinfo, frame)
  if pinfo.p2p_dir == P2P_DIR_SENT then return true end
  if pinfo.p2p_dir == P2P_DIR_RECV then return false end
  if frame then return frame.isToBox == true end
end

local function addHead(tree, kind, pinfo, frame)
  local toBox = isToBox(pinfo, frame)
  tree:add(heads.kind, kind):set_generated()
  if toBox ~= nil then
    tree:add(heads.direction, toBox and "toBox" or "fromBox"):set_generated()
    pinfo.cols.src = toBox and "head unit" or "box"
    pinfo.cols.dst = toBox and "box" or "head unit"
  end
  if not frame then return end
  tree:add(heads.frame, frame.name):set_generated():append_text(" (" .. frame.title .. ")")
  if frame.group then tree:add(heads.group, frame.group):set_generated() end
end

local function addAnswer(tree, range, pinfo)
  local byte = range:uint()
  addHead(tree, byte == Good and "acknowledgement" or "rejection", pinfo)
  tree:add(heads.bytes, range)
  for _, known in ipairs(description.bytes) do
    if known.byte == byte and (known.isToBox == true) == isToBox(pinfo) then
      tree:add(heads.frame, known.name):set_generated()
      return ("%s: %s"):format(known.name, known.title)
    end
  end
  return ("%02X"):format(byte)
end

local function addNoise(tree, range, pinfo)
  addHead(tree, "noise", pinfo)
  tree:add(heads.bytes, range)
  return note(tree, problems.noise, "noise")
end

local function addUnfinished(tree, range, pinfo)
  local frame = range:len() > 1 and description.frames[range(1, 1):uint()]
  addHead(tree, "unfinished", pinfo, frame or nil)
  tree:add(heads.bytes, range)
  local missing = range:len() >= Preamble and (", %d missing"):format(Envelope + range(2, 1):uint() - range:len())
  return (frame and frame.name .. " " or "") .. note(tree, problems.unfinished, "unfinished" .. (missing or ""))
end

local function addFrame(tree, range, pinfo, payload)
  local sum = 0
  for index = 1, range:len() - 2 do
    sum = sum + range(index, 1):uint()
  end
  local type, checksum = range(1, 1):uint(), range(range:len() - 1, 1)
  local right = 255 - sum % 256
  local isGood = checksum:uint() == right
  addHead(tree, isGood and "frame" or "checksum", pinfo, description.frames[type])
  tree:add(heads.type, range(1, 1))
  tree:add(heads.length, range(2, 1))
  tree:add(heads.checksum, checksum)
  if isGood then return addPayload(tree, type, payload, pinfo) end
  local frame = description.frames[type]
  local name = frame and frame.name or ("unknown type %02X"):format(type)
  return name .. " " .. note(tree, problems.checksum, ("checksum, %02X would be right"):format(right))
end

-- How many bytes from the offset on belong together, and who adds them.
local function unitAt(buffer, offset)
  local size = buffer:len() - offset
  local byte = buffer(offset, 1):uint()
  if byte == Good or byte == Bad then return 1, addAnswer end
  if byte == Header then
    local whole = size >= Preamble and Envelope + buffer(offset + 2, 1):uint()
    if whole and whole <= size then return whole, addFrame end
    return size, addUnfinished
  end
  local count = 1
  while count < size and not contains({Header, Good, Bad}, buffer(offset + count, 1):uint()) do
    count = count + 1
  end
  return count, addNoise
end

-- A packet of the line holds one of frame, single byte and noise, or several of them.
local function dissectLine(buffer, pinfo, root)
  local columns, offset = {}, 0
  while offset < buffer:len() do
    local size, add = unitAt(buffer, offset)
    local range = buffer(offset, size)
    local tree = root:add(canbox, range)
    local payload = {buffer = buffer, offset = offset + Preamble, size = size - Envelope}
    local column = add(tree, range, pinfo, payload)
    tree:append_text(", " .. column)
    table.insert(columns, column)
    offset = offset + size
  end
  return table.concat(columns, "; ")
end

-- The length of the CAN FD frame that carries so many bytes.
local function padded(size)
  for _, length in ipairs({12, 16, 20, 24, 32, 48, 64}) do
    if size <= length then return length end
  end
end

-- How many bytes of a CAN frame are the payload, where the others may only fill it up.
local function trueSize(frame, buffer)
  local size = frame and (frame.length or frame.bytesRead) or 0
  if size <= 8 or padded(size) ~= buffer:len() then return buffer:len() end
  for index = size, buffer:len() - 1 do
    if buffer(index, 1):uint() ~= 0 then return buffer:len() end
  end
  return size
end

local function dissectCan(buffer, pinfo, root)
  local type = canId().value
  local frame = description.frames[type]
  local size = trueSize(frame, buffer)
  local tree = root:add(canbox, buffer())
  addHead(tree, "frame", pinfo, frame)
  tree:add(heads.type, type):set_generated()
  local column = addPayload(tree, type, {buffer = buffer, offset = 0, size = size}, pinfo)
  tree:append_text(", " .. column)
  return column
end

function canbox.dissector(buffer, pinfo, root)
  pinfo.cols.protocol = "canbox"
  pinfo.cols.info = (canId() and dissectCan or dissectLine)(buffer, pinfo, root)
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, canbox)
-- CAN ids are anybody's: that those of a file are the types of this line must be told ("Decode As").
DissectorTable.get("can.subdissector"):add_for_decode_as(canbox)
