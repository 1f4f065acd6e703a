-- wrk: GET the same 50 tiles as static files, one request per tile.
local paths = {}
for line in io.lines(os.getenv("ZL_PATHS")) do paths[#paths + 1] = line end
local i = 0
request = function()
  i = i % #paths + 1
  return wrk.format("GET", paths[i])
end
