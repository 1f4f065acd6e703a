#include "DashFraming.h"

namespace zenloft::wire {

void writeRequestHeader(DashOutput& out, const DashRequestHeader& h)
{
    // Strings are checked before anything is written so that a failure
    // leaves the output untouched.
    DashOutput tmp;
    tmp.writeUInt16(h.protocolVersion);
    tmp.writeUInt64(h.userCookie);
    tmp.writeString(h.language);
    tmp.writeString(h.platform);
    tmp.writeString(h.softwareVersion);
    tmp.writeString(h.distributionChannel);
    out.writeBytes(tmp.bytes());
}

DashRequestHeader readRequestHeader(DashInput& in)
{
    DashRequestHeader h;
    h.protocolVersion = in.readUInt16();
    h.userCookie = in.readUInt64();
    h.language = in.readString();
    h.platform = in.readString();
    h.softwareVersion = in.readString();
    h.distributionChannel = in.readString();
    return h;
}

DashBodyKind requestBodyKind(std::uint16_t id)
{
    switch (id) {
    case kDashUserCookieRequest:
        return DashBodyKind::Empty;
    case kDashClientPropertiesRequest:
    case kDashClientParametersRequest:
    case kDashMapTileRequest:
    case kDashApiQuotaEventRequest:
        return DashBodyKind::LengthPrefixed;
    default:
        return DashBodyKind::Unknown;
    }
}

}  // namespace zenloft::wire
