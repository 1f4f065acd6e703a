#pragma once

#include <QThreadPool>

#include "GMSTileSource.h"

// A tile source that needs no server: every tile shows its grid and its
// "z/x/y", drawn on a worker thread. For tests, demos and offline use.
class GMSCoordinateTileSource : public GMSTileSource {
    Q_OBJECT
public:
    explicit GMSCoordinateTileSource(QObject* parent = nullptr);
    ~GMSCoordinateTileSource() override;

    zl::RequestHandle requestTile(const GMSTileKey& key, Answer answer) override;

    // The picture of one tile, 256 x 256; exposed for tests.
    static QImage renderTile(const GMSTileKey& key);

    // Waits for the workers; for tests and shutdown only.
    void waitForDone() { pool_.waitForDone(); }

private:
    QThreadPool pool_;
};
