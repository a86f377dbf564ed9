#pragma once

/** A class of the service. */
struct ResourceManager {
    bool own = true;
};
