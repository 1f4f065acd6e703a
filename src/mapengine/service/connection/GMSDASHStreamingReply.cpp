#include "GMSDASHStreamingReply.h"

#include "DashErrors.h"
#include "DashFraming.h"

using namespace zenloft::wire;

GMSDASHStreamingReply::GMSDASHStreamingReply(std::vector<GMSDASHRequestPtr> requests,
                                             GMSDASHConnection* connection)
    : m_requests(std::move(requests)), m_connection(connection)
{
}

void GMSDASHStreamingReply::appendData(const char* data, std::size_t size)
{
    if (isDone() || size == 0)
        return;
    // Drop what has been read so that a long body does not pile up.
    if (m_consumed > 256 * 1024) {
        m_buffer.erase(0, m_consumed);
        m_consumed = 0;
    }
    m_buffer.append(data, size);
    process(false);
}

void GMSDASHStreamingReply::finish(const std::optional<GMSDASHError>& transportError)
{
    if (transportError && !m_error)
        m_error = transportError;
    process(true);
}

void GMSDASHStreamingReply::failAll(const GMSDASHError& error)
{
    if (!m_error)
        m_error = error;
    failRest();
}

void GMSDASHStreamingReply::failRest()
{
    while (m_next < m_requests.size()) {
        const GMSDASHRequestPtr r = m_requests[m_next++];
        r->asyncRequestFailed(*m_error, m_connection);
    }
}

void GMSDASHStreamingReply::process(bool complete)
{
    if (m_error) {
        failRest();
        return;
    }
    DashInput in;
    in.reset(m_buffer, complete, m_consumed);
    if (!m_versionRead) {
        try {
            const std::uint16_t version = in.readUInt16();
            if (version != kDashProtocolVersion)
                m_error = GMSDASHError::brokenFrame(QStringLiteral("protocol version %1").arg(version));
        } catch (const DashNeedMoreData&) {
            return;
        } catch (const DashFramingError& e) {
            m_error = GMSDASHError::brokenFrame(QString::fromUtf8(e.what()));
        }
        if (m_error) {
            failRest();
            return;
        }
        m_versionRead = true;
        m_consumed = in.position();
    }
    while (m_next < m_requests.size()) {
        const GMSDASHRequestPtr r = m_requests[m_next];
        if (m_error) {
            ++m_next;
            r->asyncRequestFailed(*m_error, m_connection);
            continue;
        }
        if (const auto status = r->responseStatus(); status && status->code) {
            m_error = GMSDASHError{kGenericServerErrorDomain, *status->code, status->message, {}, {}};
            ++m_next;
            r->asyncRequestFailed(*m_error, m_connection);
            continue;
        }
        const std::size_t start = in.position();
        try {
            const std::uint16_t id = in.readUInt16();
            if (id != r->requestID()) {
                m_error = GMSDASHError::brokenFrame(
                    QStringLiteral("answer tagged %1 where %2 was expected").arg(id).arg(r->requestID()));
            } else if (!r->asyncReadResponse(in, m_connection)) {
                m_error = GMSDASHError::brokenFrame(QStringLiteral("answer to request %1 is broken").arg(id));
            }
        } catch (const DashNeedMoreData&) {
            in.seek(start);
            return;
        } catch (const std::exception& e) {
            m_error = GMSDASHError::brokenFrame(QString::fromUtf8(e.what()));
        }
        ++m_next;
        m_consumed = in.position();
        if (m_error)
            r->asyncRequestFailed(*m_error, m_connection);
    }
}
