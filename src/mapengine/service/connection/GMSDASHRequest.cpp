#include "GMSDASHRequest.h"

std::optional<GMSDASHResponseStatus> GMSDASHRequest::responseStatus() const
{
    QMutexLocker lock(&m_statusMutex);
    return m_status;
}

void GMSDASHRequest::setResponseStatus(std::optional<GMSDASHResponseStatus> status)
{
    QMutexLocker lock(&m_statusMutex);
    m_status = std::move(status);
}
