-- Wireshark dissector for the link between the Quorvane host and torvy-driver. Its reference is docs/protocol.md,
-- installed next to the examples; offsets, bits and names are those of that page.
--
-- It recognises only packets as the host and the driver send them. Other bytes may be malformed, or continue a packet
-- whose beginning was not captured: the rest of their segment is one item, and the next segment is dissected anew.

local torvy = Proto("torvy", "Torvy host link")
torvy.prefs.ports = Pref.range("TCP ports", "20300", "Ports on which hosts accept connections from drivers", 65535)

local f = {
  handshake = ProtoField.string("torvy.handshake", "connection identifier"),
  kind = ProtoField.string("torvy.kind", "kind"),
  length = ProtoField.uint16("torvy.length", "total length of the packet"),
  little_endian = ProtoField.bool("torvy.little_endian", "value lengths least significant byte first", 8, nil, 0x80),
  addr = ProtoField.string("torvy.addr", "unit address"),
  mcmd = ProtoField.string("torvy.mcmd", "command"),
  pkid = ProtoField.string("torvy.pkid", "packet identifier"),
  entry = ProtoField.protocol("torvy.entry", "entry"),
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
torvy.fields = f
local flag_bits = {f.transmit, f.ccm, f.address_only, f.command_only, f.wireless, f.pass_through, f.stacked}
local named_fields = {addr = f.addr, mcmd = f.mcmd, pkid = f.pkid}
local plain_fields = {f.version, f.transaction, f.interface, f.class, f.flags, f.code, f.command}  -- from offset 2

local malformed = ProtoExpert.new("torvy.malformed", "malformed", expert.group.MALFORMED, expert.severity.WARN)
local cut_short = ProtoExpert.new("torvy.cut_short", "entry cut short", expert.group.PROTOCOL, expert.severity.WARN)
torvy.experts = {malformed, cut_short}

local controller_commands = {Q = "quit", P = "quit", D = "toggle debug mode"}
local kMaxHandshake = 1024
local kMinPlain = 16

-- Returns printable ASCII but for ; and \ unchanged, and all other bytes as a backslash and two hexadecimal digits.
local function printable(bytes)
  return (bytes:gsub("[%c;\\\128-\255]", function(byte) return ("\\%02X"):format(byte:byte()) end))
end

-- Returns the value length of the entry at an offset of a multipacket.
local function value_length(packet, offset)
  local length = packet(offset + 4, 2)
  return packet(3, 1):uint() >= 0x80 and length:le_uint() or length:uint()
end

-- Returns the length of the packet or handshake at the front, 0 if it depends on bytes that follow, or nil for other
-- bytes. Every plain packet ends with a carriage return. A log whose text contains one is not recognised,
-- because the bytes from an "LX" in a plain packet contain one as well.
local function front_length(tvb)
  local bytes = tvb:raw(0, math.min(tvb:len(), kMaxHandshake))
  local kind, length, third, fourth = bytes:sub(1, 1):upper(), bytes:byte(2, 4)
  if ("TORVY:"):find(bytes:sub(1, 6), 1, true) == 1 then
    return bytes:find("\r", 1, true) or (#bytes < kMaxHandshake and 0 or nil)
  end
  if not kind:find("[JLXYMN]") then return nil end
  if #bytes < (kind == "J" and 10 or 3) then return 0 end
  local is_packet
  if kind == "J" then
    length = tvb(1, 2):le_uint()
    is_packet = fourth % 0x80 == 0 and 10 + value_length(tvb, 4) <= length
  elseif kind == "L" then
    is_packet = length >= 3 and third <= 4 and not bytes:sub(4, length):find("\r", 1, true)
  else
    is_packet = length >= kMinPlain and third == 0x61 and ("\r"):find(bytes:sub(length, length), 1, true)
  end
  return is_packet and length or nil
end

-- The next four functions add the fields of a packet or handshake, and return its text for the info column.

local function add_handshake(tree, packet)
  tree:add_packet_field(f.handshake, packet(6, packet:len() - 7), ENC_UTF_8)
  return "handshake, connection " .. printable(packet:raw(6, packet:len() - 7))
end

local function add_multi(tree, packet)
  tree:add(f.little_endian, packet(3, 1))
  local texts, at, size = {}, 4, packet:len()
  while at + 6 <= size do
    local length = value_length(packet, at)
    local key, value = packet(at, 4), packet(at + 6, math.min(length, size - at - 6))
    local name, text = key:raw():lower(), printable(value:raw())
    local entry = tree:add(f.entry, packet(at, 6 + value:len()), printable(key:raw()) .. ": " .. text)
    entry:add_packet_field(f.key, key, ENC_UTF_8)
    entry:add(f.value_length, packet(at + 4, 2), length)
    entry:add_packet_field(f.value, value, ENC_UTF_8)
    if value:len() < length then entry:add_proto_expert_info(cut_short) end
    if named_fields[name] then tree:add_packet_field(named_fields[name], value, ENC_UTF_8) end
    texts[name] = text  -- as in the driver, the last of equal keys
    at = at + 6 + value:len()
  end
  if at < size then tree:add(packet(at), "incomplete entry"):add_proto_expert_info(cut_short) end
  local command = texts.mcmd or ""
  local info = command:upper() == "ACK" and "acknowledgement" or "command " .. command
  if texts.addr then info = info .. " for unit " .. texts.addr end
  return texts.pkid and info .. ", packet " .. texts.pkid or info
end

local function add_plain(tree, packet)
  local bytes = packet:raw()
  for i, field in ipairs(plain_fields) do
    local item = tree:add(field, packet(i + 1, 1))
    for _, bit in ipairs(field == f.flags and flag_bits or {}) do item:add(bit, packet(i + 1, 1)) end
  end
  local is_controller, command = bytes:byte(7) % 0x80 >= 0x40, printable(bytes:sub(9, 9))
  if is_controller and command:upper() == "X" then
    local data = packet(10, math.min(bytes:byte(10), #bytes - 10))
    if data:len() > 0 then tree:add(f.data, data) end
    return "pass " .. data:len() .. " bytes to the device"
  end
  tree:add(f.address, packet(9, 2))
  tree:add(f.level, packet(11, 1))
  tree:add(f.param1, packet(12, 1))
  tree:add(f.param2, packet(13, 1))
  if is_controller then
    return controller_commands[command:upper()] or "controller command " .. command .. ", ignored"
  end
  local house, unit = tonumber(bytes:sub(10, 10), 16), tonumber(bytes:sub(11, 11), 16)
  local target = house and unit and " for " .. string.char(0x41 + house) .. unit + 1 or ""
  return "unit command " .. command .. target
end

local function add_log(tree, packet)
  tree:add(f.log_level, packet(2, 1))
  tree:add_packet_field(f.log_text, packet(3), ENC_UTF_8)
  return "log, level " .. packet(2, 1):uint() .. ": " .. printable(packet:raw(3))
end

local functions = {T = add_handshake, J = add_multi, L = add_log,
                   X = add_plain, Y = add_plain, M = add_plain, N = add_plain}

-- Returns the length of the item at an offset: a packet, or the rest if it is not one or cannot be reassembled.
local function length_at(tvb, pinfo, offset)
  local rest = tvb(offset):tvb()
  local length = front_length(rest)
  return (length ~= 0 or pinfo.can_desegment > 0) and length or rest:len()
end

local last_info  -- the info column after the last packet, to which further packets of the same frame are appended

local function dissect_packet(tvb, pinfo, tree)
  local item, info = tree:add(torvy, tvb()), nil
  local length, kind = front_length(tvb), tvb:raw(0, 1):upper()
  if length == tvb:len() then
    if kind ~= "T" then
      item:add(f.kind, tvb(0, 1))
      item:add_le(f.length, tvb(1, kind == "J" and 2 or 1))
    end
    info = functions[kind](item, tvb)
  else
    info = (length and "incomplete packet, " or "not the start of a packet, ") .. tvb:len() .. " bytes"
    item:add_proto_expert_info(malformed, info)
  end
  item:append_text(", " .. info)
  pinfo.cols.protocol = "TORVY"
  local column = pinfo.cols.info
  if tostring(column) == last_info then column:append("; " .. info) else column:set(info) end
  last_info = tostring(column)
end

function torvy.dissector(tvb, _, tree) dissect_tcp_pdus(tvb, tree, 1, length_at, dissect_packet) end

local tcp_ports, ports = DissectorTable.get("tcp.port"), torvy.prefs.ports
tcp_ports:add(ports, torvy)
function torvy.prefs_changed()
  tcp_ports:remove(ports, torvy)
  ports = torvy.prefs.ports
  tcp_ports:add(ports, torvy)
end
