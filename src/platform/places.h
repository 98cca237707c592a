#pragma once

#include "base/path.h"

namespace kelvaris {

/// The folders that belong to this program on this machine. Nothing is created by naming them.
struct Places {
    Path data;       ///< holds "vault", "embeddings" and "models"
    Path caches;     ///< what can be made anew; holds "thumbnails"
    Path config;     ///< holds the defaults file
    Path state;      ///< holds the log
    Path home;       ///< the user's home folder
    Path resources;  ///< catalogs and other data that ships with the program
    Path temporary;  ///< a folder for short-lived files
    /// Whether data and config outlive the day. They do not where no home is known and nothing else names
    /// them: a library must not be kept there.
    bool isLasting = true;
};

}  // namespace kelvaris
