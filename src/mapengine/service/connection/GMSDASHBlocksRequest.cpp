#include "GMSDASHBlocksRequest.h"

GMSDASHBlocksRequest::GMSDASHBlocksRequest(quint16 requestID, WriteBlock write, ReadBlock read,
                                           FailureBlock failed)
    : m_requestID(requestID), m_write(std::move(write)), m_read(std::move(read)), m_failed(std::move(failed))
{
}

void GMSDASHBlocksRequest::asyncSerializeRequestData(zenloft::wire::DashOutput& out, GMSDASHConnection*)
{
    if (m_write)
        m_write(out);
}

bool GMSDASHBlocksRequest::asyncReadResponse(zenloft::wire::DashInput& in, GMSDASHConnection*)
{
    // Without a reader there is no way to know where the answer ends.
    return m_read ? m_read(in) : false;
}

void GMSDASHBlocksRequest::asyncRequestFailed(const GMSDASHError& error, GMSDASHConnection*)
{
    if (m_failed)
        m_failed(error);
}
