-- Ardour without its window: a new session in the folder PEER_SESSION, on a JACK server, which does
-- what its standard input says, a line each, and answers with a line. It ends at "quit" or with its input.

io.stdout:setvbuf("no")
AudioEngine:set_backend("JACK", "ardour", "")
local session = create_session(os.getenv("PEER_SESSION"), "session", 48000)
if not session or not AudioEngine:running() then
    print("halted")
    os.exit(1)
end

local by_user = ARDOUR.TransportRequestSource.TRS_UI
local disposition = ARDOUR.LocateTransportDisposition
local formats = { ["24"] = 1, ["25"] = 3, ["29.97df"] = 5, ["30"] = 8 } -- Ardour's own numbers

local commands = {}

-- Frames of its time code.
function commands.rate(name)
    session:cfg():set_timecode_format(formats[name])
end

function commands.send_mmc()
    ARDOUR.config():set_send_mmc(true)
end

-- To a sample, and stand there.
function commands.locate(sample)
    session:request_locate(tonumber(sample), false, disposition.MustStop, by_user)
end

-- To a sample, and roll from there.
function commands.jump(sample)
    session:request_locate(tonumber(sample), false, disposition.MustRoll, by_user)
end

function commands.roll()
    session:request_roll(by_user)
end

function commands.stop()
    session:request_stop(false, false, by_user)
end

-- Follows MTC, and sends its own while it does.
function commands.chase()
    ARDOUR.config():set_send_mtc(true)
    session:cfg():set_external_sync(true)
end

-- How often it comes to stand within so many seconds, once it rolls.
function commands.count_stops(seconds)
    local stops, rolled = 0, false
    for _ = 1, tonumber(seconds) * 500 do
        local rolls = session:transport_speed() ~= 0
        if rolled and not rolls then
            stops = stops + 1
        end
        rolled = rolls
        ARDOUR.LuaAPI.usleep(2000)
    end
    return stops
end

-- The sample where it is, when it stands; nothing while it rolls.
function commands.where()
    return session:transport_speed() == 0 and session:transport_sample() or "rolling"
end

print("ready")
for line in io.lines() do
    if line == "quit" then
        break
    end
    local name, argument = line:match("^(%S+)%s*(%S*)$")
    io.write(name, ": ", commands[name](argument) or "done", "\n")
end
