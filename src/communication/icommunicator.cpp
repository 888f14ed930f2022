// SPDX-License-Identifier: MIT
#include "communication/icommunicator.h"
