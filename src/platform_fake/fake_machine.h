#pragma once

#include "platform/places.h"
#include "platform_fake/fake_clock.h"
#include "platform_fake/fake_compression.h"
#include "platform_fake/fake_defaults.h"
#include "platform_fake/fake_digests.h"
#include "platform_fake/fake_files.h"
#include "platform_fake/fake_folder_access.h"
#include "platform_fake/fake_geocoder.h"
#include "platform_fake/fake_http.h"
#include "platform_fake/fake_image_codec.h"
#include "platform_fake/fake_language.h"
#include "platform_fake/fake_operation_queue.h"
#include "platform_fake/fake_shell.h"

namespace kelvaris {

/// Everything that the system asks of a machine, in memory. Time and work move only by hand.
struct FakeMachine {
    FakeClock clock;
    MainQueue main{clock.monotonic()};
    FakeOperationQueueFactory queues;
    FakeFiles files{clock.wall()};
    FakeFolderAccess folders{files};
    FakeDefaults defaults;
    FakeLanguage language;
    FakeGeocoder geocoder{main};
    FakeShell shell{main};
    FakeImageCodec images{files};
    FakeHttp http{main};
    FakeCompression compression;
    FakeDigests digests;
    Places places{.data = Path("/home/user/.local/share/Kelvaris"),
                  .caches = Path("/home/user/.cache/Kelvaris"),
                  .config = Path("/home/user/.config/Kelvaris"),
                  .state = Path("/home/user/.local/state/Kelvaris"),
                  .home = Path("/home/user"),
                  .resources = Path("/usr/share/kelvaris"),
                  .temporary = Path("/tmp")};

    /// Makes the folders of the places, as a machine on which the program ran before has them.
    FakeMachine() {
        for (const Path& path :
             {places.data, places.caches, places.config, places.state, places.resources, places.temporary}) {
            files.addFolder(path);
        }
    }

    /// Works on every queue until nothing is due, without letting time pass.
    void settle() {
        do {
            main.drain();
        } while (queues.runAll());
    }

    /// Lets the time pass, with all work done as soon as it is due.
    void advance(std::chrono::nanoseconds duration) {
        const MonotonicTime end = clock.monotonic().now() + duration;
        settle();
        for (auto due = main.nextDue(); due && *due <= end; due = main.nextDue()) {
            const auto now = clock.monotonic().now();
            if (*due > now) clock.advance(*due - now);
            settle();
        }
        clock.advance(end - clock.monotonic().now());
        settle();
    }
};

}  // namespace kelvaris
