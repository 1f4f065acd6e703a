#pragma once

#include <QObject>

class GMSMapView;
class GMSCameraPosition;

// The on-map controls and which gesture families are on. Belongs to one map
// view, which makes it; it cannot be made on its own.
class GMSUISettings : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool scrollGestures READ scrollGestures WRITE setScrollGestures NOTIFY changed)
    Q_PROPERTY(bool zoomGestures READ zoomGestures WRITE setZoomGestures NOTIFY changed)
    Q_PROPERTY(bool tiltGestures READ tiltGestures WRITE setTiltGestures NOTIFY changed)
    Q_PROPERTY(bool rotateGestures READ rotateGestures WRITE setRotateGestures NOTIFY changed)
    Q_PROPERTY(bool myLocationButton READ myLocationButton WRITE setMyLocationButton NOTIFY changed)
    Q_PROPERTY(bool compassButton READ compassButton WRITE setCompassButton NOTIFY changed)
public:
    // Gesture bits of one integer.
    enum GestureBit { Scroll = 1, Zoom = 2, Rotate = 4, Tilt = 8 };

    bool scrollGestures() const { return gestures_ & Scroll; }
    bool zoomGestures() const { return gestures_ & Zoom; }
    bool tiltGestures() const { return gestures_ & Tilt; }
    bool rotateGestures() const { return gestures_ & Rotate; }
    void setScrollGestures(bool on) { setBit(Scroll, on); }
    void setZoomGestures(bool on) { setBit(Zoom, on); }
    void setTiltGestures(bool on) { setBit(Tilt, on); }
    void setRotateGestures(bool on) { setBit(Rotate, on); }
    void setAllGesturesEnabled(bool on) { setGestures(on ? (Scroll | Zoom | Rotate | Tilt) : 0); }
    int gestures() const { return gestures_; }
    void setGestures(int bits);

    // Pan continues under a pinch or a rotation.
    bool allowScrollGesturesDuringRotateOrZoom() const { return allowPanDuringRotateOrZoom_; }
    void setAllowScrollGesturesDuringRotateOrZoom(bool on) { allowPanDuringRotateOrZoom_ = on; }

    bool myLocationButton() const { return myLocationButton_; }
    void setMyLocationButton(bool on);
    bool compassButton() const { return compassButton_; }
    void setCompassButton(bool on);

    // The compass shows while the compass button is on and the map is turned.
    bool isCompassVisible() const { return compassButton_ && bearing_ != 0.0; }
    void didMoveToCameraPosition(const GMSCameraPosition& camera);

signals:
    void changed();

private:
    friend class GMSMapView;
    explicit GMSUISettings(GMSMapView* view);
    void setBit(int bit, bool on) { setGestures(on ? (gestures_ | bit) : (gestures_ & ~bit)); }

    int gestures_ = Scroll | Zoom | Rotate | Tilt;
    bool allowPanDuringRotateOrZoom_ = true;
    bool myLocationButton_ = false;
    bool compassButton_ = false;
    double bearing_ = 0.0;
};
