-- Morvane in Ardour, run by ardour-formats.sh through Ardour's headless session tool:
--   ardour7-lua ardour-formats.lua <phase> <format> <session folder> <unit control pipe> <unit log>
-- Phases: "scan" (every format listed), "create" (new session, plug-in, unit values, panel turn, host write, save),
-- "reload" (the saved session in a fresh process) and "restore" (a session saved by an
-- earlier build). Prints "FAIL ..." for every fault, "FIGURE ..." for measured times, and
-- exits with 1 on any fault.

local phase, format, folder, unitPipe, unitLog = arg[1], arg[2], arg[3], arg[4], arg[5]

local kinds = {
    VST2 = { ARDOUR.PluginType.LXVST, "1299347054" },
    VST3 = { ARDOUR.PluginType.VST3, "ABCDEF019182FAEB56656C6D4D72766E" },
    LV2 = { ARDOUR.PluginType.LV2, "https://velmora-audio-works.example/plugins/morvane" },
}
local names = { "Input L", "Attack L", "Mode L", "Output L", "Threshold", "Release L", "Sidechain L", "Mix L",
                "--------", "Input R", "Attack R", "Output R", "Threshold R", "Release R", "Sidechain R", "Mix R" }

-- Ardour 7 keeps no value that a plug-in reports for an LV2 property (it shows such values
-- in its own plug-in window only): there the unit's values reach the session through the
-- plug-in's state, which the reload checks at the unit.
local lanesFollowPlugin = format ~= "LV2"

local faults = 0
local function fail(text)
    faults = faults + 1
    print("FAIL " .. format .. " " .. phase .. ": " .. text)
end

local function nowMs()
    return ARDOUR.LuaAPI.monotonic_time() / 1000
end

-- Polls every 50 ms until done() holds or the time is up.
local function waitFor(done, timeoutMs)
    local start = nowMs()
    while nowMs() - start < timeoutMs do
        if done() then
            return true
        end
        ARDOUR.LuaAPI.usleep(50000)
    end
    return done()
end

local function tellUnit(line)
    local pipe = io.open(unitPipe, "w")
    pipe:write(line .. "\n")
    pipe:close()
end

-- The unit's log holds one line per request it received.
local function unitLogHas(pattern)
    local file = io.open(unitLog, "r")
    if file == nil then
        return false
    end
    local text = file:read("a")
    file:close()
    return string.find(text, pattern) ~= nil
end

-- The plug-in's 16 controls as the host lists them, by name.
local function controlsOf(proc)
    local found, count = {}, 0
    local automatable = proc:to_automatable()
    for parameter in automatable:all_automatable_params():iter() do
        local control = automatable:automation_control(parameter, false)
        local label = control:desc().label
        for _, name in ipairs(names) do
            if label == name and found[name] == nil then
                found[name] = control
                count = count + 1
            end
        end
    end
    return found, count
end

local function near(control, value)
    return control ~= nil and math.abs(control:get_value() - value) < 0.002
end

-- Knob value of a device figure on a row running 0 to 1023.
local function knobOf(figure)
    return figure / 1023
end

local function expectValue(controls, name, value, timeoutMs, what)
    if not waitFor(function() return near(controls[name], value) end, timeoutMs) then
        local got = controls[name] ~= nil and controls[name]:get_value() or "no control"
        fail(what .. ": " .. name .. " reads " .. tostring(got) .. ", not " .. value)
        return false
    end
    return true
end

local function checkPlugin(proc)
    local insert = proc:to_insert()
    if insert:input_streams():n_audio() ~= 2 or insert:output_streams():n_audio() ~= 2 then
        fail("not 2 in / 2 out")
    end
    local controls, count = controlsOf(proc)
    if count ~= 16 then
        fail(count .. " of the 16 controls")
    end
    return controls
end

local function firstPlugin(session)
    local route = session:route_by_name("Morvane")
    if route:isnil() then
        return nil
    end
    local proc = route:nth_plugin(0)
    return not proc:isnil() and proc or nil
end

AudioEngine:set_backend("None (Dummy)", "", "")

if phase == "scan" then
    -- Ardour's first start takes in what its scanners found; every format must be there.
    create_session(folder, "scan", 48000)
    local known = {}
    for info in ARDOUR.LuaAPI.list_plugins():iter() do
        for name, kind in pairs(kinds) do
            if info.unique_id == kind[2] and info.type == kind[1] then
                known[name] = true
            end
        end
    end
    for name in pairs(kinds) do
        if not known[name] then
            fail("Ardour does not list the " .. name .. " plug-in")
        end
    end
    close_session()
elseif phase == "create" then
    local session = create_session(folder, format, 48000)
    assert(session, "no session")
    local track = session:new_audio_track(2, 2, nil, 1, "Morvane", ARDOUR.PresentationInfo.max_order,
                                          ARDOUR.TrackMode.Normal, true):front()
    local start = nowMs()
    local proc = ARDOUR.LuaAPI.new_plugin(session, kinds[format][2], kinds[format][1], "")
    if proc:isnil() then
        fail("the plug-in does not load")
        for info in ARDOUR.LuaAPI.list_plugins():iter() do
            if info.name == "Morvane" then
                print("  Ardour knows " .. info.unique_id .. " of type " .. tostring(info.type))
            end
        end
        close_session()
        os.exit(1)
    end
    track:add_processor_by_index(proc, 0, nil, true)
    print(string.format("FIGURE %s load_ms %.1f", format, nowMs() - start))
    local controls = checkPlugin(proc)

    -- The unit's own values reach the host once the instance has found the unit.
    if lanesFollowPlugin then
        if expectValue(controls, "Output L", knobOf(700), 15000, "unit's value") then
            print(string.format("FIGURE %s unit_values_ms %.1f", format, nowMs() - start))
        end
        expectValue(controls, "Mode L", 4 / 11, 2000, "unit's mode")
    elseif not waitFor(function() return unitLogHas("GET /balance") end, 15000) then
        fail("the instance never took the unit's values")
    end

    -- A turn on the unit's panel reaches the host's control (and the saved session).
    tellUnit("turn 17 800 200")
    if lanesFollowPlugin then
        expectValue(controls, "Input R", knobOf(800), 5000, "panel turn")
    else
        ARDOUR.LuaAPI.usleep(1000000)
    end
    tellUnit("release 17")

    -- A host write reaches the unit, and the plug-in reads it back.
    if controls["Output L"] ~= nil then
        controls["Output L"]:set_value(0.25, PBD.GroupControlDisposition.NoGroup)
        if not waitFor(function() return unitLogHas("KNOB 3 255%.75") end, 5000) then
            fail("the host's Output L of 0.25 never reached the unit")
        end
        expectValue(controls, "Output L", 0.25, 1000, "host write")
    end

    session:save_state("", false, false, false, false, false)
    close_session()
elseif phase == "reload" or phase == "restore" then
    local name = phase == "reload" and format or "fx"
    local session = load_session(folder, name)
    assert(session, "no session")
    local proc = firstPlugin(session)
    if proc == nil then
        fail("the plug-in is not in the session")
        close_session()
        os.exit(1)
    end
    local controls = checkPlugin(proc)
    -- The stored values win over the unit's: they go out in one request of all knobs, with
    -- the host's write and the panel's turn of the first run.
    local output, pushed = 0.25, "/3/255/[^ ]*/17/800/"
    if phase == "restore" then
        output, pushed = 0.68, "/3/695/"
    end
    if lanesFollowPlugin then
        expectValue(controls, "Output L", output, 5000, "stored value")
    end
    if not waitFor(function() return unitLogHas("GET /knob%?2/[^ ]*" .. pushed) end, 10000) then
        fail("the stored values never reached the unit")
    end
    close_session()
end

os.exit(faults == 0 and 0 or 1)
