#include "GMSGestureHandler.h"

#include <algorithm>
#include <cmath>

namespace {
constexpr double kBlockPanWindow = 0.15;
constexpr double kInertiaWindow = 0.2;
constexpr double kPanInertiaMinSpeed = 200.0;
constexpr double kPinchBeginHigh = 1.05;
constexpr double kPinchBeginLow = 0.95;
constexpr double kRotateBegin = 0.05235987901687622;  // 3 degrees
constexpr double kRotateMaxVelocity = 6.2831854820251465;
constexpr double kRotateMinVelocity = 1.0471975803375244;  // 60 degrees a second
constexpr double kTiltBegin = 14.0;
constexpr double kTapDragMaxHorizontal = 10.0;
constexpr double kTapDragBegin = 3.0;
constexpr double kTapDragPointsPerDoubling = 80.0;
constexpr double kLn2 = 0.6931471805599453;
constexpr double kTapDragAfterDeceleration = 0.5;
constexpr double kTapDragTrackWindow = 0.1;

double distance(QPointF a, QPointF b) { return std::hypot(a.x() - b.x(), a.y() - b.y()); }
}  // namespace

GMSGestureHandler::GMSGestureHandler(GMSGestureTarget* target) : target_(target) {}

QPointF GMSGestureHandler::centroid() const {
    if (touches_.empty()) return {};
    QPointF c;
    for (const GMSTouchPoint& t : touches_) c += t.position;
    return c / double(touches_.size());
}

void GMSGestureHandler::pushSample(std::deque<Sample>& s, double t, double a, double b) {
    s.push_back({t, a, b});
    while (s.size() > 2 && s.back().t - s.front().t > kVelocityWindow) s.pop_front();
}

double GMSGestureHandler::velocityOf(const std::deque<Sample>& s, bool second) {
    if (s.size() < 2) return 0.0;
    const double dt = s.back().t - s.front().t;
    if (dt <= 0.0) return 0.0;
    return second ? (s.back().b - s.front().b) / dt : (s.back().a - s.front().a) / dt;
}

void GMSGestureHandler::feed(double now, const std::vector<GMSTouchPoint>& touches) {
    timeout(now);
    // Moves of fingers that stay.
    bool moved = false;
    for (GMSTouchPoint& t : touches_) {
        auto it = std::find_if(touches.begin(), touches.end(), [&](const GMSTouchPoint& n) { return n.id == t.id; });
        if (it != touches.end() && it->position != t.position) {
            t.position = it->position;
            moved = true;
        }
    }
    if (moved) updateRecognisers(now, false);
    // Fingers lifted.
    std::vector<int> lifted;
    for (const GMSTouchPoint& t : touches_)
        if (std::none_of(touches.begin(), touches.end(), [&](const GMSTouchPoint& n) { return n.id == t.id; }))
            lifted.push_back(t.id);
    for (int id : lifted) {
        if (touches_.size() == 1) {
            lastFingerUp(now);
            continue;
        }
        touches_.erase(std::find_if(touches_.begin(), touches_.end(), [&](const GMSTouchPoint& t) { return t.id == id; }));
        fingerLifted(now, true);
        updateRecognisers(now, true);
    }
    // Fingers put down.
    for (const GMSTouchPoint& n : touches) {
        if (std::any_of(touches_.begin(), touches_.end(), [&](const GMSTouchPoint& t) { return t.id == n.id; }))
            continue;
        const bool first = touches_.empty();
        touches_.push_back(n);
        if (first) {
            touchesBegan(now, {});
        } else {
            maxTouches_ = std::max<int>(maxTouches_, int(touches_.size()));
            if (gestureState_ == None) {
                setGestureState(PanOrUndecided);
                target_->willStartPanFrom(centroid());
                blockPanTimestamp_ = now;
            }
        }
        updateRecognisers(now, true);
    }
}

void GMSGestureHandler::cancel(double now) {
    if (touches_.empty()) return;
    touches_.clear();
    pan_ = Phase::Possible;
    twoFinger_ = false;
    tapDragBegan_ = false;
    secondPress_ = false;
    setGestureState(None);
    target_->didEndGestures();
}

void GMSGestureHandler::touchesBegan(double now, const std::vector<GMSTouchPoint>&) {
    // A touch that stops a moving map must not also act as a long press.
    decelerationAtTouchDown_ = decelerating_;
    shouldBlockLongPress_ = decelerating_;
    stopDeceleration();
    allowInertiaFor_ = 0;
    target_->willStartGestures();

    const QPointF p = touches_.front().position;
    firstDownTime_ = now;
    firstDownPoint_ = p;
    maxTouches_ = 1;
    movedBeyondTapSlop_ = false;
    longPressFired_ = false;
    pan_ = Phase::Possible;
    panStartCentroid_ = p;
    panSamples_.clear();
    twoFinger_ = false;
    tapDragBegan_ = false;
    shouldBlockTapDrag_ = false;
    tapDragTrack_.clear();
    secondPress_ = lastTap_ && now - lastTap_->first <= kDoubleTapInterval &&
                   distance(lastTap_->second, p) <= kDoubleTapDistance;
    lastTap_.reset();
}

void GMSGestureHandler::fingerLifted(double now, bool) {
    allowInertiaFor_ = gestureState_;
    allowInertiaTimestamp_ = now;
    blockPanTimestamp_ = now;
    setGestureState(None);
    // Renew the anchor so that the shift of the centroid does not move the map.
    target_->willStartPanFrom(centroid());
}

void GMSGestureHandler::lastFingerUp(double now) {
    const QPointF where = centroid();
    if (twoFinger_) endTwoFingerRecognisers(now);
    if (pan_ == Phase::Began || pan_ == Phase::Changed)
        handlePan(Phase::Ended, now, where, {velocityOf(panSamples_, false), velocityOf(panSamples_, true)});
    if (tapDragBegan_) handleTapDragEnd(now);

    const double duration = now - firstDownTime_;
    const bool still = !movedBeyondTapSlop_ && !longPressFired_;
    if (maxTouches_ == 1 && still && gestureState_ != TapDragZoom) {
        if (secondPress_ && on(ZoomBit) && !shouldBlockDoubleTap_) {
            target_->didDoubleTap(where);
        } else if (duration < kLongPressDuration || shouldBlockLongPress_) {
            target_->didTap(where);
            lastTap_ = std::make_pair(now, where);
        }
    } else if (maxTouches_ == 2 && !movedBeyondTapSlop_ && duration < kDoubleTapInterval && on(ZoomBit) &&
               gestureState_ <= PanOrUndecided) {
        target_->didTwoFingerTap(where);
    }

    touches_.clear();
    pan_ = Phase::Possible;
    twoFinger_ = false;
    tapDragBegan_ = false;
    secondPress_ = false;
    setGestureState(None);
    target_->didEndGestures();
}

void GMSGestureHandler::updateRecognisers(double now, bool countChanged) {
    const QPointF c = centroid();
    if (touches_.size() == 1 && distance(touches_.front().position, firstDownPoint_) > kTapSlop)
        movedBeyondTapSlop_ = true;

    // Pan: one or more fingers; the centroid is the location.
    if (on(PanBit)) {
        if (countChanged) {
            panSamples_.clear();
            if (pan_ == Phase::Possible) panStartCentroid_ = c;
        }
        pushSample(panSamples_, now, c.x(), c.y());
        if (!countChanged) {
            if (pan_ == Phase::Possible && distance(c, panStartCentroid_) > kPanSlop) {
                pan_ = Phase::Began;
                movedBeyondTapSlop_ = true;
                handlePan(Phase::Began, now, c, {});
                pan_ = Phase::Changed;
            } else if (pan_ == Phase::Changed) {
                handlePan(Phase::Changed, now, c, {velocityOf(panSamples_, false), velocityOf(panSamples_, true)});
            }
        }
    }

    // Two-finger recognisers follow the first two fingers down.
    if (twoFinger_) {
        const bool pairPresent = touches_.size() >= 2 && touches_[0].id == pairIds_[0] && touches_[1].id == pairIds_[1];
        if (!pairPresent) endTwoFingerRecognisers(now);
    }
    if (touches_.size() >= 2 && !twoFinger_) {
        twoFinger_ = true;
        pairIds_[0] = touches_[0].id;
        pairIds_[1] = touches_[1].id;
        pairStartPositions_[0] = touches_[0].position;
        pairStartPositions_[1] = touches_[1].position;
        const QPointF d = touches_[1].position - touches_[0].position;
        pairStartDistance_ = std::max(1.0, std::hypot(d.x(), d.y()));
        pairStartAngle_ = lastAngle_ = std::atan2(d.y(), d.x());
        rotationUnwrapped_ = 0.0;
        pairSamples_.clear();
        pushSample(pairSamples_, now, 1.0, 0.0);
        lastPinchScale_ = 1.0;
        lastRotation_ = 0.0;
        tiltActive_ = true;
        handlePinch(Phase::Began, now, 1.0, 0.0, int(touches_.size()));
        handleRotate(Phase::Began, now, 0.0, 0.0);
        return;
    }
    if (twoFinger_ && !countChanged) {
        const QPointF p0 = touches_[0].position, p1 = touches_[1].position;
        const QPointF d = p1 - p0;
        const double scale = std::hypot(d.x(), d.y()) / pairStartDistance_;
        double angle = std::atan2(d.y(), d.x());
        double step = angle - lastAngle_;
        while (step > M_PI) step -= 2 * M_PI;
        while (step < -M_PI) step += 2 * M_PI;
        rotationUnwrapped_ += step;
        lastAngle_ = angle;
        pushSample(pairSamples_, now, scale, rotationUnwrapped_);
        lastPinchScale_ = scale;
        lastRotation_ = rotationUnwrapped_;
        if (std::abs(scale - 1.0) > 0.02 || std::abs(rotationUnwrapped_) > 0.02) movedBeyondTapSlop_ = true;
        handlePinch(Phase::Changed, now, scale, velocityOf(pairSamples_, false), int(touches_.size()));
        handleRotate(Phase::Changed, now, rotationUnwrapped_, velocityOf(pairSamples_, true));
        // Tilt: both fingers moving the same way vertically, side by side.
        const double dy0 = p0.y() - pairStartPositions_[0].y(), dy1 = p1.y() - pairStartPositions_[1].y();
        const bool sideBySide = std::abs(d.y()) < std::abs(d.x());
        double tiltAmount = 0.0;
        if (sideBySide && ((dy0 < 0 && dy1 < 0) || (dy0 > 0 && dy1 > 0))) tiltAmount = -(dy0 + dy1) / 2.0;
        if (tiltActive_) handleTilt(Phase::Changed, tiltAmount);
    }
    if (!countChanged && touches_.size() == 1 && tapDragBegan_) handleTapDragMove(now, touches_.front().position);
}

void GMSGestureHandler::endTwoFingerRecognisers(double now) {
    twoFinger_ = false;
    tiltActive_ = false;
    decZoomRotAnchor_ = centroid();
    handlePinch(Phase::Ended, now, lastPinchScale_, velocityOf(pairSamples_, false), int(touches_.size()));
    handleRotate(Phase::Ended, now, lastRotation_, velocityOf(pairSamples_, true));
}

void GMSGestureHandler::handlePan(Phase phase, double now, QPointF location, QPointF velocity) {
    if (phase == Phase::Began) {
        target_->willStartPanFrom(location);
        return;
    }
    if (phase == Phase::Changed) {
        const double t = now - blockPanTimestamp_;
        if (t < kBlockPanWindow) {
            target_->willStartPanFrom(location);  // jitter after a finger came or left
        } else if (gestureState_ <= PanOrUndecided && gesturesEnabled_) {
            target_->didPanTo(location);
        }
        return;
    }
    if (phase == Phase::Ended && gestureState_ <= PanOrUndecided) {
        decPanBase_ = location;
        decPanAngle_ = std::atan2(velocity.y(), velocity.x());
        const double speed = std::hypot(velocity.x(), velocity.y());
        if (speed > kPanInertiaMinSpeed && now - allowInertiaTimestamp_ > kInertiaWindow) {
            decPan_ = GMSDeceleratedValue::make(float(speed), 0.0f, 0.75f, 0.9f, 0.0f, 1600.0f);
            startDeceleration(now);
        }
    }
}

void GMSGestureHandler::handlePinch(Phase phase, double now, double scale, double velocity, int touches) {
    if (!on(ZoomBit)) return;
    if (phase == Phase::Began || touches < 2) startingPinchScale_ = scale;
    if (phase == Phase::Ended) {
        if (allowInertiaFor_ == PinchZoom && now - allowInertiaTimestamp_ <= kInertiaWindow) {
            const double v = std::clamp(velocity / startingPinchScale_, -1.0, 3.0);
            if (v > 2.95 || v < -0.5) {
                decStartingPinchScale_ = lastPinchScaleRatio_;
                decZoom_ = GMSDeceleratedValue::make(float(v), float(decStartingPinchScale_), 0.7f, 1.0f, 0.05f, 4.0f);
                startDeceleration(now);
            }
        }
        return;
    }
    double ratio = scale / startingPinchScale_;
    if (gestureState_ == PanOrUndecided && (ratio > kPinchBeginHigh || ratio < kPinchBeginLow)) {
        startingPinchScale_ = scale;
        setGestureState(PinchZoom);
        target_->willStartZoom();
        ratio = 1.0;
        if (allowPanDuringRotateOrZoom_) target_->willStartPanFrom(centroid());
    }
    if ((gestureState_ == PinchZoom || gestureState_ == Rotate) && gesturesEnabled_) {
        lastPinchScaleRatio_ = ratio;
        target_->didZoomRelative(ratio);
    }
}

void GMSGestureHandler::handleRotate(Phase phase, double now, double rotation, double velocity) {
    if (!on(RotateBit)) return;
    if (phase == Phase::Began) {
        startingRotation_ = rotation;
        return;
    }
    if (phase == Phase::Ended) {
        if (allowInertiaFor_ == Rotate && now - allowInertiaTimestamp_ <= kInertiaWindow) {
            const double v = std::clamp(velocity, -kRotateMaxVelocity, kRotateMaxVelocity);
            if (std::abs(v) > kRotateMinVelocity) {
                decStartingRotation_ = lastRotation_ - startingRotation_;
                decRotate_ = GMSDeceleratedValue::make(float(v), float(decStartingRotation_), 0.7f, 1.0f, 0.0f, 0.0f);
                startDeceleration(now);
            }
        }
        return;
    }
    if (gestureState_ == PinchZoom) return;  // a zoom has taken the touch
    if (gestureState_ == PanOrUndecided && std::abs(rotation - startingRotation_) > kRotateBegin) {
        startingRotation_ = rotation;
        target_->willStartRotation();
        if (on(ZoomBit)) {
            startingPinchScale_ = lastPinchScale_;
            target_->willStartZoom();
        }
        if (allowPanDuringRotateOrZoom_) target_->willStartPanFrom(centroid());
        setGestureState(Rotate);
    }
    if (gestureState_ == Rotate && gesturesEnabled_) {
        target_->didRotateRelative(rotation - startingRotation_);
        if (allowPanDuringRotateOrZoom_) target_->didPanTo(centroid());
    }
}

void GMSGestureHandler::handleTilt(Phase, double tiltAmount) {
    if (!on(TiltBit)) return;
    if (gestureState_ == PanOrUndecided && std::abs(tiltAmount) > kTiltBegin) {
        target_->willStartTilt();
        setGestureState(Tilt);
        startingTiltAmount_ = tiltAmount;
    } else if (gestureState_ == Tilt && gesturesEnabled_) {
        target_->didTiltRelative(startingTiltAmount_ - tiltAmount);
    }
}

void GMSGestureHandler::handleTapDragPress(QPointF point) {
    shouldBlockTapDrag_ = decelerationAtTouchDown_;
    tapDragStartPoint_ = point;
    tapDragTrack_.clear();
    lastZoomFactor_ = 1.0;
}

void GMSGestureHandler::handleTapDragMove(double now, QPointF point) {
    if (!on(ZoomBit)) return;
    const double d = point.y() - tapDragStartPoint_.y();
    if (gestureState_ != TapDragZoom) {
        if (gestureState_ != None) {
            shouldBlockTapDrag_ = true;
        } else {
            if (std::abs(point.x() - tapDragStartPoint_.x()) > kTapDragMaxHorizontal ||
                now - decStartTime_ < kTapDragAfterDeceleration)
                shouldBlockTapDrag_ = true;
            if (!shouldBlockTapDrag_ && std::abs(d) > kTapDragBegin) {
                setGestureState(TapDragZoom);
                target_->willStartZoom();
            }
        }
    }
    if (gestureState_ == TapDragZoom && gesturesEnabled_) {
        lastZoomFactor_ = std::exp((d / kTapDragPointsPerDoubling) * kLn2);
        target_->didZoomRelative(lastZoomFactor_);
        tapDragTrack_.emplace_back(now, d);
        pruneTapDragTracksAtTime(now);
    }
}

void GMSGestureHandler::pruneTapDragTracksAtTime(double now) {
    while (tapDragTrack_.size() > 1 && now - tapDragTrack_.front().first > kTapDragTrackWindow)
        tapDragTrack_.pop_front();
}

double GMSGestureHandler::tapDragVelocity() const {
    if (tapDragTrack_.size() < 2) return 0.0;
    const auto& first = tapDragTrack_.front();
    const auto& last = tapDragTrack_.back();
    if (last.first == first.first) return 0.0;
    return (last.second - first.second) / (last.first - first.first);
}

void GMSGestureHandler::handleTapDragEnd(double now) {
    if (gestureState_ != TapDragZoom) return;
    pruneTapDragTracksAtTime(now);
    const double v = tapDragVelocity();
    if (std::abs(v) > 200.0) {
        const double velocity = std::clamp(v / kTapDragPointsPerDoubling, -2.0, 2.0);
        const double start = std::log2(lastZoomFactor_);
        decStartingTapDragScale_ = lastZoomFactor_;
        decTapDrag_ = GMSDeceleratedValue::make(float(velocity), float(start), 0.7f, 1.0f, float(start - 6.0),
                                                float(start + 6.0));
        startDeceleration(now);
    }
}

std::optional<double> GMSGestureHandler::nextDeadline() const {
    std::optional<double> next;
    if (touches_.size() == 1 && maxTouches_ == 1) {
        if (!movedBeyondTapSlop_ && !longPressFired_ && !shouldBlockLongPress_)
            next = firstDownTime_ + kLongPressDuration;
        if (secondPress_ && !tapDragBegan_) {
            const double t = firstDownTime_ + kTapDragPress;
            next = next ? std::min(*next, t) : t;
        }
    }
    return next;
}

void GMSGestureHandler::timeout(double now) {
    if (touches_.size() != 1 || maxTouches_ != 1) return;
    if (secondPress_ && !tapDragBegan_ && now >= firstDownTime_ + kTapDragPress) {
        tapDragBegan_ = true;
        handleTapDragPress(touches_.front().position);
    }
    if (!movedBeyondTapSlop_ && !longPressFired_ && !shouldBlockLongPress_ &&
        now >= firstDownTime_ + kLongPressDuration && gestureState_ != TapDragZoom) {
        longPressFired_ = true;
        target_->didLongPress(touches_.front().position);
    }
}

void GMSGestureHandler::startDeceleration(double now) {
    if (!gesturesEnabled_ || shouldBlockDeceleration_) return;
    decStartTime_ = now;
    decLastTime_ = now;
    if (decPan_) target_->willStartPanDeceleration();
    if (decZoom_ || decTapDrag_) target_->willStartZoomDeceleration();
    if (decRotate_) target_->willStartRotationDeceleration();
    if (allowPanDuringRotateOrZoom_ && !decPan_ && (decZoom_ || decRotate_))
        target_->willStartPanFrom(decZoomRotAnchor_);
    if (!decelerating_) {
        decelerating_ = true;
        target_->decelerationTicksNeeded(true);
    }
}

void GMSGestureHandler::tick(double now) {
    if (!decelerating_) return;
    const double delta = now - decLastTime_;
    decLastTime_ = now;
    bool zoomOrRotate = false;
    if (decZoom_) {
        const bool running = decZoom_->tickWithDelta(delta);
        target_->didZoomRelative(decZoom_->value);
        zoomOrRotate = true;
        if (!running) {
            target_->didEndZoomDeceleration();
            decZoom_.reset();
        }
    }
    if (decTapDrag_) {
        const bool running = decTapDrag_->tickWithDelta(delta);
        target_->didZoomRelative(std::exp(decTapDrag_->value * 0.6931472f));
        if (!running) {
            target_->didEndZoomDeceleration();
            decTapDrag_.reset();
        }
    }
    if (decRotate_) {
        const bool running = decRotate_->tickWithDelta(delta);
        target_->didRotateRelative(decRotate_->value);
        zoomOrRotate = true;
        if (!running) {
            target_->didEndRotationDeceleration();
            decRotate_.reset();
        }
    }
    if (decPan_) {
        const bool running = decPan_->tickWithDelta(delta);
        const double d = decPan_->value;
        target_->didPanTo(decPanBase_ + QPointF(d * std::cos(decPanAngle_), d * std::sin(decPanAngle_)));
        if (!running) {
            target_->didEndPanDeceleration();
            decPan_.reset();
        }
    } else if (allowPanDuringRotateOrZoom_ && zoomOrRotate) {
        target_->didPanTo(decZoomRotAnchor_);
    }
    if (!decZoom_ && !decTapDrag_ && !decRotate_ && !decPan_) stopDeceleration();
}

void GMSGestureHandler::stopDeceleration() {
    if (decZoom_ || decTapDrag_) target_->didEndZoomDeceleration();
    if (decRotate_) target_->didEndRotationDeceleration();
    if (decPan_) target_->didEndPanDeceleration();
    decZoom_.reset();
    decTapDrag_.reset();
    decRotate_.reset();
    decPan_.reset();
    if (decelerating_) {
        decelerating_ = false;
        target_->decelerationTicksNeeded(false);
    }
}

void GMSGestureHandler::resetGestureState() {
    setGestureState(None);
    stopDeceleration();
    tapDragTrack_.clear();
    pan_ = Phase::Possible;
    panSamples_.clear();
    longPressFired_ = true;  // a cancelled press never fires
}
