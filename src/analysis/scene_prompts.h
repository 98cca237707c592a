#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kelvaris {

/// A word for what photos show, as a sentence that a text encoder can compare with a picture.
struct ScenePrompt {
    std::string_view word;   ///< as classificationMapping or personWords has it
    std::string sentence;    ///< "a photo of a dog"
    std::size_t family = 0;  ///< words of one family mean nearly the same in a picture
};

/// One prompt for each word of classificationMapping, then of personWords, in their order.
const std::vector<ScenePrompt>& scenePrompts();

/// Sentences that fit any photo and none: what a picture that shows nothing of the vocabulary is nearest to.
std::span<const std::string_view> backgroundSentences();

}  // namespace kelvaris
