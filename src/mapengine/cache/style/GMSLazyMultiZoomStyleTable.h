#pragma once

#include <QByteArray>

#include <functional>
#include <memory>
#include <stdexcept>

// A decoded style table. Its inner format belongs to the vector tile
// decoding; here it holds the table's bytes and format, and a decoder
// (tableFromData) that refuses what it cannot read by throwing.
class GMSLazyMultiZoomStyleTable {
public:
    GMSLazyMultiZoomStyleTable(QByteArray data, int format) : m_data(std::move(data)), m_format(format) {}
    const QByteArray& data() const { return m_data; }
    int format() const { return m_format; }

    // The decoder in force; the default accepts any non-empty data.
    using Decoder = std::function<std::shared_ptr<GMSLazyMultiZoomStyleTable>(const QByteArray&, int format)>;
    static std::shared_ptr<GMSLazyMultiZoomStyleTable> tableFromData(const QByteArray& data, int format) {
        if (data.isEmpty()) throw std::runtime_error("empty style table");
        return std::make_shared<GMSLazyMultiZoomStyleTable>(data, format);
    }

private:
    QByteArray m_data;
    int m_format;
};
