#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/path.h"

namespace kelvaris {

/// What a file or folder picker asks for.
struct PickerRequest {
    std::string message;
    bool choosesFiles = false;
    bool choosesFolders = false;
    bool allowsMultiple = false;
    std::vector<std::string> extensions;  ///< of files; empty allows all
};

/// A question with buttons; the first is the one that goes on.
struct AlertRequest {
    std::string message;
    std::string text;
    std::vector<std::string> buttons;
};

enum class Sound { rotate, remove, reorder, assignDates, navigate, exportComplete };

/// The window system around the program. Main thread; answers arrive on the main thread.
class Shell {
public:
    virtual ~Shell() = default;

    /// An empty list means that the user cancelled.
    virtual void choose(const PickerRequest& request, std::function<void(std::vector<Path>)> completion) = 0;
    /// The index of the button pressed.
    virtual void ask(const AlertRequest& request, std::function<void(std::size_t)> completion) = 0;
    /// Shows the folder in the file manager, where there is one.
    virtual void reveal(const Path& folder) = 0;
    virtual void play(Sound sound) = 0;
    /// Whether animated writes are to be made directly.
    virtual bool reducesMotion() const = 0;
    /// Ends the program in the ordinary way.
    virtual void terminate() = 0;
};

}  // namespace kelvaris
