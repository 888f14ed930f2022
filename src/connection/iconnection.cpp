// SPDX-License-Identifier: MIT
#include "connection/iconnection.h"
