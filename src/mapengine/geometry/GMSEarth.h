#pragma once

// The engine's earth model: a sphere, and the degree/radian factors that
// every geometry routine shares so that results agree bit for bit.
inline constexpr double kGMSEarthRadius = 6371009.0;                // metres
inline constexpr double kGMSEarthCircumference = 40030230.14070891; // 2 pi r, metres
inline constexpr double kGMSDegreesToRadians = 0.017453292519943295;
inline constexpr double kGMSRadiansToDegrees = 57.29577951308232;
inline constexpr double kGMSPi = 3.141592653589793;
inline constexpr double kGMSQuarterPi = 0.7853981633974483;
