-- wrk: POST the prebuilt framed body (50 tiles) again and again.
local f = assert(io.open(os.getenv("ZL_BODY"), "rb"))
wrk.method = "POST"
wrk.body = f:read("*all")
f:close()
wrk.headers["Content-Type"] = "application/binary"

local bad = 0
response = function(status, headers, body)
  if status ~= 200 then bad = bad + 1 end
end

done = function(summary, latency, requests)
  io.write(string.format("non-200 answers: %d\n", bad))
end
