-- Wireshark dissector for the link between the Quorvane host and torvy-driver, on TCP port 20300; for another port N,
-- use "Decode As", or tshark -d tcp.port==N,torvy. Its reference is docs/protocol.md, installed next to the examples;
-- offsets, bits and names are those of that page.
--
-- Fields show the bytes on the wire; fields beyond a packet's end are left out. The info column reads a packet as the
-- driver does: it replaces low-battery forms, uses the last of equal keys, and level 4 if a log packet has no level.

local torvy = Proto("torvy", "Torvy host link")

local f = {
  handshake = ProtoField.string("torvy.handshake", "connection identifier"),
  kind = ProtoField.string("torvy.kind", "kind"),
  length = ProtoField.uint16("torvy.length", "total length of the packet"),
  little_endian = ProtoField.bool("torvy.little_endian", "value lengths least significant byte first", 8, nil, 0x80),
  key = ProtoField.string("torvy.entry.key", "key"),
  value_length = ProtoField.uint16("torvy.entry.length", "value length"),
  value = ProtoField.string("torvy.entry.value", "value"),
  version = ProtoField.string("torvy.version", "version"),
  transaction = ProtoField.uint8("torvy.transaction", "transaction number"),
  interface = ProtoField.string("torvy.interface", "interface type"),
  class = ProtoField.string("torvy.class", "unit class"),
  flags = ProtoField.uint8("torvy.flags", "flags", base.HEX),
  code = ProtoField.string("torvy.code", "code"),
  command = ProtoField.string("torvy.command", "command"),
  address = ProtoField.string("torvy.address", "house code, unit code"),
  data = ProtoField.bytes("torvy.data", "raw data"),
  level = ProtoField.uint8("torvy.level", "level"),
  param1 = ProtoField.uint8("torvy.param1", "parameter 1"),
  param2 = ProtoField.uint8("torvy.param2", "parameter 2"),
  log_level = ProtoField.uint8("torvy.log.level", "level"),
  log_text = ProtoField.string("torvy.log.text", "text"),
  transmit = ProtoField.bool("torvy.flags.transmit", "transmit", 8, nil, 0x80),
  ccm = ProtoField.bool("torvy.flags.ccm", "controller command", 8, nil, 0x40),
  address_only = ProtoField.bool("torvy.flags.address_only", "address only", 8, nil, 0x20),
  command_only = ProtoField.bool("torvy.flags.command_only", "command only", 8, nil, 0x10),
  wireless = ProtoField.bool("torvy.flags.wireless", "wireless", 8, nil, 0x08),
  pass_through = ProtoField.bool("torvy.flags.pass_through", "pass through", 8, nil, 0x04),
  stacked = ProtoField.bool("torvy.flags.stacked", "stacked", 8, nil, 0x02),
}
local flag_bits = {f.transmit, f.ccm, f.address_only, f.command_only, f.wireless, f.pass_through, f.stacked}
local plain_fields = {[2] = f.version, [3] = f.transaction, [4] = f.interface, [5] = f.class, [6] = f.flags,
                      [7] = f.code, [8] = f.command, [9] = f.address, [11] = f.level, [12] = f.param1, [13] = f.param2}
torvy.fields = f

local malformed = ProtoExpert.new("torvy.malformed", "malformed", expert.group.MALFORMED, expert.severity.ERROR)
local cut_short = ProtoExpert.new("torvy.cut_short", "entry cut short", expert.group.PROTOCOL, expert.severity.WARN)
local short = ProtoExpert.new("torvy.short", "malformed if nothing follows",
                              expert.group.PROTOCOL, expert.severity.NOTE)
torvy.experts = {malformed, cut_short, short}

local low_battery_forms = {["\x05"] = "\x04", ["\x55"] = "\x54", ["\x01"] = "\x00", ["\x51"] = "\x50"}
local controller_commands = {Q = "quit", P = "quit", D = "toggle debug mode"}
local kMaxHandshake = 1024

-- Returns printable ASCII unchanged, and all other bytes as a backslash and two hexadecimal digits.
local function printable(bytes)
  return (bytes:gsub("[^ -~]", function(byte) return ("\\%02X"):format(byte:byte()) end))
end

-- The next three functions add the fields of a packet, and return its text for the info column.

local function add_multi(tree, packet)
  local values, at, size = {}, 4, packet:len()
  if size > 3 then tree:add(f.little_endian, packet(3, 1)) end
  while at + 6 <= size do
    local is_little_endian = packet(3, 1):uint() >= 0x80
    local length = is_little_endian and packet(at + 4, 2):le_uint() or packet(at + 4, 2):uint()
    local key, value = packet(at, 4), packet(at + 6, math.min(length, size - at - 6))
    local entry = tree:add(packet(at, 6 + value:len()), printable(key:raw() .. ": " .. value:raw()))
    entry:add_packet_field(f.key, key, ENC_UTF_8)
    entry:add(f.value_length, packet(at + 4, 2), length)
    entry:add_packet_field(f.value, value, ENC_UTF_8)
    if value:len() < length then entry:add_proto_expert_info(cut_short) end
    values[key:raw():lower()] = printable(value:raw())
    at = at + 6 + value:len()
  end
  if at < size then tree:add(packet(at), "incomplete entry"):add_proto_expert_info(cut_short) end
  local command = values.mcmd or "(none)"
  local info = command:upper() == "ACK" and "acknowledgement" or "command " .. command
  if values.addr then info = info .. " for " .. values.addr end
  return values.pkid and info .. " (packet " .. values.pkid .. ")" or info
end

local function add_plain(tree, packet)
  local bytes = packet:raw()
  local command = bytes:sub(9, 9):upper()
  local is_controller = (bytes:byte(7) or 0) % 0x80 >= 0x40
  local is_raw_data = is_controller and command == "X"
  for offset = 2, math.min(is_raw_data and 8 or 13, #bytes - 1) do
    local field = plain_fields[offset]
    local item = field and tree:add(field, packet(offset, field == f.address and math.min(2, #bytes - offset) or 1))
    for _, bit in ipairs(field == f.flags and flag_bits or {}) do item:add(bit, packet(offset, 1)) end
  end
  if is_raw_data then
    local data = bytes:sub(11, 10 + (bytes:byte(10) or 0))
    if #data > 0 then tree:add(f.data, packet(10, #data)) end
    return "pass " .. #data .. " bytes to the device"
  end
  if is_controller and controller_commands[command] then return controller_commands[command] end
  command = printable(low_battery_forms[command] or bytes:sub(9, 9))
  if is_controller then return "controller command " .. command .. ", ignored" end
  return "unsupported command: " .. command .. " for address " .. printable(bytes:sub(10, 11))
end

local function add_log(tree, packet)
  local level, text = packet:raw():byte(3) or 0, math.min(3, packet:len())
  if level > 4 then level, text = 4, 2 elseif text == 3 then tree:add(f.log_level, packet(2, 1)) end
  tree:add_packet_field(f.log_text, packet(text), ENC_UTF_8)
  return "log, level " .. level .. ": " .. printable(packet:raw():sub(text + 1))
end

local functions = {J = add_multi, X = add_plain, Y = add_plain, M = add_plain, N = add_plain, L = add_log}

-- Adds the packet or handshake at an offset, and returns its text for the info column.
local function add_packet(tree, tvb, offset, size)
  local item, packet, info = tree:add(torvy, tvb(offset, size)), tvb(offset, size):tvb(), nil
  local kind = packet:raw(0, 1):upper()
  local length = tvb(offset + 1, kind == "J" and 2 or 1)
  if packet:raw():find("^TORVY:[^\r]*\r$") then
    item:add_packet_field(f.handshake, packet(6, size - 7), ENC_UTF_8)
    info = "handshake, connection " .. printable(packet:raw(6, size - 7))
  else
    item:add(f.kind, packet(0, 1))
    item:add_le(f.length, length)
    if kind == "J" and tvb:len() - offset <= 4 then item:add_proto_expert_info(short) end
    if length:le_uint() > 0 and functions[kind] then
      info = functions[kind](item, packet)
    else
      info = "malformed, " .. (length:le_uint() == 0 and "length 0" or "kind " .. printable(kind))
      item:add_proto_expert_info(malformed, info)
    end
  end
  item:append_text(", " .. info)
  return info
end

-- Returns the size of the packet or handshake at an offset, or nil if that depends on bytes that follow.
local function size_at(bytes, offset)
  local kind, low, high, _, fifth = bytes:byte(offset + 1, offset + 5)
  if kind == 0x4A or kind == 0x6A then
    -- Up to four bytes are a plain packet if nothing follows. If byte 2 is 0, the length is the same either way.
    return (fifth or (high == 0 and low > 0)) and low + 256 * high or nil
  end
  if ("TORVY:"):find(bytes:sub(offset + 1, offset + 6), 1, true) ~= 1 then return low end
  local last = bytes:find("\r", offset + 1, true)
  if last then return last - offset end
  return #bytes - offset >= kMaxHandshake and low or nil
end

-- Returns the first offset at which a complete packet begins that the driver acts on, and true. If there is none,
-- returns the first offset at which an incomplete one may begin, or the end, and false.
local function resume_at(bytes, offset)
  local possible, found = #bytes, bytes:find("[JjXxYyMmNn]", offset + 1)
  while found do
    local size = size_at(bytes, found - 1)
    if size and size > 0 and size <= #bytes - found + 1 then return found - 1, true end
    if size ~= 0 then possible = math.min(possible, found - 1) end
    found = bytes:find("[JjXxYyMmNn]", found + 1)
  end
  return possible, false
end

-- After a zero length, bytes are skipped until a packet begins, which may be in a later segment. skips_next: for each
-- direction of a connection, whether the next segment begins with bytes to skip; skips_first: the same for each frame.
local skips_next, skips_first = {}, {}
local last_info  -- the info column after the last call

function torvy.init() skips_next, skips_first = {}, {} end

function torvy.dissector(tvb, pinfo, tree)
  local direction = ("%s %d %s %d"):format(pinfo.src, pinfo.src_port, pinfo.dst, pinfo.dst_port)
  if not pinfo.visited then skips_first[pinfo.number] = skips_first[pinfo.number] or skips_next[direction] end
  local skip = skips_first[pinfo.number]
  local bytes, offset, missing, infos = tvb:raw(), 0, nil, {}
  while offset < #bytes and not missing do
    local size, left = size_at(bytes, offset), #bytes - offset
    if skip or size == 0 then
      local next_offset, is_complete = resume_at(bytes, skip and offset or offset + 1)
      if not skip then infos[#infos + 1] = add_packet(tree, tvb, offset, next_offset - offset) end
      offset, skip = next_offset, not is_complete
      missing = skip and DESEGMENT_ONE_MORE_SEGMENT
    elseif size and size <= left then
      infos[#infos + 1] = add_packet(tree, tvb, offset, size)
      offset = offset + size
    else
      missing = size and size - left or DESEGMENT_ONE_MORE_SEGMENT
    end
  end
  if not pinfo.visited then skips_next[direction] = skip end
  if offset < #bytes then pinfo.desegment_offset, pinfo.desegment_len = offset, missing end
  if #infos == 0 then return end
  -- A frame that ends one packet and has others is dissected in two calls; the second adds to the column.
  local info = pinfo.cols.info
  info:set((tostring(info) == last_info and "; " or "") .. table.concat(infos, "; "))
  last_info = tostring(info)
  pinfo.cols.protocol = "TORVY"
end

DissectorTable.get("tcp.port"):add(20300, torvy)
