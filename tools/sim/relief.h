// SPDX-License-Identifier: MIT
#pragma once

/// Height of the ground in metres above that at the origin, where the vehicle starts. Gentle hills of up to
/// two metres, level around the origin; the same in every run.
double groundHeightM(double northM, double eastM);
