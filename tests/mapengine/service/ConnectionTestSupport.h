#pragma once

#include "DashFraming.h"
#include "GMSDASHConnection.h"
#include "GMSDASHRequest.h"

#include <string>
#include <vector>

namespace zltest {

// A request that records what became of it: "ok:<bytes>" or
// "fail:<domain>:<code>". Outcomes must come exactly once.
class RecordingRequest : public GMSDASHRequest {
public:
    explicit RecordingRequest(quint16 id, std::string payload = "p") : m_id(id), m_payload(std::move(payload)) {}
    quint16 requestID() const override { return m_id; }
    void asyncSerializeRequestData(zenloft::wire::DashOutput& out, GMSDASHConnection*) override
    {
        out.writeLengthPrefixed(m_payload);
    }
    bool asyncReadResponse(zenloft::wire::DashInput& in, GMSDASHConnection*) override
    {
        const auto block = in.readLengthPrefixed();
        outcomes.push_back("ok:" + std::string(block));
        return true;
    }
    void asyncRequestFailed(const GMSDASHError& e, GMSDASHConnection*) override
    {
        outcomes.push_back("fail:" + e.domain.toStdString() + ":" + std::to_string(e.code));
        lastError = e;
    }
    std::vector<std::string> outcomes;
    GMSDASHError lastError;

private:
    quint16 m_id;
    std::string m_payload;
};

inline std::string answerBody(std::uint16_t version, const std::vector<std::pair<std::uint16_t, std::string>>& answers)
{
    zenloft::wire::DashOutput out;
    out.writeUInt16(version);
    for (const auto& [id, data] : answers) {
        out.writeUInt16(id);
        out.writeLengthPrefixed(data);
    }
    return out.take();
}

}  // namespace zltest
