#pragma once

#include "base/main_queue.h"
#include "base/operation_queue.h"
#include "base/path.h"
#include "library/animation.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/geocoder.h"
#include "platform/images.h"
#include "platform/language.h"
#include "platform/shell.h"

namespace kelvaris {

class AnalysisPipeline;
class ExifService;
class ImageCache;
class UserPreferences;

/// What rolls and photos need of the machine and of the services beside them. Made once where the
/// program is put together; everything in it outlives every roll.
struct LibraryServices {
    MainQueue& main;
    OperationQueue& userQueue;  ///< work that the user waits for: previews and exports; width 2 or more
    Files& files;
    ImageCodec& images;
    ImageCache& imageCache;
    const Language& language;
    const Clock& clock;
    Shell& shell;
    Animator& animator;
    Geocoder& geocoder;
    UserPreferences& preferences;
    const ExifService& exif;
    AnalysisPipeline& analysis;
    Path home;  ///< the user's home folder

    /// Makes writes that a screen shows as a movement, directly when the user wants no movement.
    void animate(const Spring& spring, const std::function<void()>& writes) const;
    /// Plays the sound unless the user wants none.
    void play(Sound sound) const;
};

}  // namespace kelvaris
