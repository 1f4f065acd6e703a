#include "GMSXGeoHeaderEncoder.h"

#include <set>

using zenloft::wire::GMSx_GMMLocationDescriptorProto;

QByteArray GMSXGeoHeaderEncoder::encodeWithLocationDescriptors(
    const std::vector<GMSx_GMMLocationDescriptorProto>& descriptors)
{
    QByteArray out;
    for (const auto& d : descriptors) {
        if (!out.isEmpty())
            out += ' ';
        const std::string bytes = d.SerializeAsString();
        out += "w ";
        out += QByteArray(bytes.data(), static_cast<qsizetype>(bytes.size()))
                   .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    }
    return out;
}

std::vector<GMSx_GMMLocationDescriptorProto> GMSXGeoHeaderEncoder::mergeOverrides(
    std::vector<GMSx_GMMLocationDescriptorProto> descriptors, const std::vector<GMSDASHRequestPtr>& requests)
{
    std::set<int> named;
    for (const auto& r : requests) {
        std::set<int> mine;
        for (const auto& o : r->locationDescriptorOverridesByProducer()) {
            if (named.count(o.producer()))
                continue;
            mine.insert(o.producer());
            bool merged = false;
            for (auto& d : descriptors) {
                if (d.producer() == o.producer()) {
                    d.MergeFrom(o);
                    merged = true;
                    break;
                }
            }
            if (!merged)
                descriptors.push_back(o);
        }
        named.insert(mine.begin(), mine.end());
    }
    return descriptors;
}
