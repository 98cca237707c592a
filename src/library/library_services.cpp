#include "library/library_services.h"

#include "preferences/user_preferences.h"

namespace kelvaris {

void LibraryServices::animate(const Spring& spring, const std::function<void()>& writes) const {
    if (shell.reducesMotion()) {
        writes();
    } else {
        animator.animate(spring, writes);
    }
}

void LibraryServices::play(Sound sound) const {
    if (preferences.soundEffectsEnabled()) shell.play(sound);
}

}  // namespace kelvaris
