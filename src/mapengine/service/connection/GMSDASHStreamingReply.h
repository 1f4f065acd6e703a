#pragma once

#include "GMSDASHError.h"
#include "GMSDASHRequest.h"

#include <optional>
#include <string>
#include <vector>

// Reads the answer of one POST as its bytes arrive, so that an early request
// finishes before the last byte is in. Each request of the body gets exactly
// one outcome: its own reading, or asyncRequestFailed.
class GMSDASHStreamingReply {
public:
    GMSDASHStreamingReply(std::vector<GMSDASHRequestPtr> requests, GMSDASHConnection* connection);

    // Decoded body bytes, in order.
    void appendData(const char* data, std::size_t size);
    // The body is complete (no error) or the transport failed (error). Every
    // request still open gets its outcome.
    void finish(const std::optional<GMSDASHError>& transportError);
    // The response cannot be read at all (e.g. wrong content type): every
    // request still open fails with this error.
    void failAll(const GMSDASHError& error);

    bool isDone() const { return m_next >= m_requests.size(); }
    std::size_t finishedCount() const { return m_next; }
    const std::vector<GMSDASHRequestPtr>& requests() const { return m_requests; }

private:
    void process(bool complete);
    void failRest();

    std::vector<GMSDASHRequestPtr> m_requests;
    GMSDASHConnection* m_connection;
    std::string m_buffer;
    std::size_t m_consumed = 0;
    std::size_t m_next = 0;
    bool m_versionRead = false;
    std::optional<GMSDASHError> m_error;
};
