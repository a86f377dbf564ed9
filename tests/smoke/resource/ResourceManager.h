// SPDX-License-Identifier: Apache-2.0

#pragma once

/** A class of the service. */
struct ResourceManager {
    bool own = true;
};
