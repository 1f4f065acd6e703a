#pragma once

#include "GMSDASHRequest.h"

#include <functional>

// A request whose body and answer are not a protobuf message: the caller
// gives a block that writes the body and one that reads the answer. The
// reading block may be called again with more bytes while the body streams
// in (the input throws until the answer is whole), so it must not act before
// it has read everything. Blocks run on the connection's threads.
class GMSDASHBlocksRequest : public GMSDASHRequest {
public:
    using WriteBlock = std::function<void(zenloft::wire::DashOutput&)>;
    // False when the answer's framing is broken.
    using ReadBlock = std::function<bool(zenloft::wire::DashInput&)>;
    using FailureBlock = std::function<void(const GMSDASHError&)>;

    GMSDASHBlocksRequest(quint16 requestID, WriteBlock write, ReadBlock read, FailureBlock failed = {});

    quint16 requestID() const override { return m_requestID; }
    void asyncSerializeRequestData(zenloft::wire::DashOutput& out, GMSDASHConnection* connection) override;
    bool asyncReadResponse(zenloft::wire::DashInput& in, GMSDASHConnection* connection) override;
    void asyncRequestFailed(const GMSDASHError& error, GMSDASHConnection* connection) override;

private:
    const quint16 m_requestID;
    WriteBlock m_write;
    ReadBlock m_read;
    FailureBlock m_failed;
};
