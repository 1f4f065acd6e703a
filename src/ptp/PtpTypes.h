#pragma once

// The orders of the point lists. The setting "ptpListSortBy" keeps other
// integers for them (0 distance ascending, 1 distance descending, 2 name
// ascending, 3 name descending).
enum class sortBy { name_asc, name_desc, distance_asc, distance_desc };

// Which of the two points a screen chooses: where the user stands, or where
// he aims.
enum class pointType { from = 0, to = 1 };
