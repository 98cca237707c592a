#include <gtest/gtest.h>

#include <fstream>

#include "platform_linux/word_vectors.h"
#include "platform_linux/wordnet_similarity.h"
#include "temporary_folder.h"

namespace kelvaris {
namespace {

void write(const Path& path, std::string_view text) {
    std::ofstream file(path.string(), std::ios::binary);
    file << text;
}

TEST(WordVectors, AreReadFromLinesOfWordsAndNumbersAndTheRestIsLeftOut) {
    testing::TemporaryFolder folder;
    const Path file = folder.path() / "vectors.txt";
    write(file,
          "5 2\n"
          "dog 1 0\n"
          "puppy 3 4\r\n"
          "dog 0 1\n"
          "broken 1 x\n"
          "short 1\n"
          "long 1 2 3\n"
          "\n"
          "lonely\n"
          "nothing 0 0\n"
          "endless inf 1\n"
          "cat 0 -2");
    WordVectors vectors;
    EXPECT_EQ(vectors.distance("dog", "dog"), std::nullopt) << "not read yet";
    ASSERT_TRUE(vectors.load(file));
    EXPECT_NEAR(*vectors.distance("dog", "puppy"), 0.4, 1e-6);
    EXPECT_NEAR(*vectors.distance("puppy", "cat"), 1.8, 1e-6);
    for (const char* unknown : {"broken", "short", "long", "lonely", "nothing", "endless", "5", ""}) {
        EXPECT_EQ(vectors.distance("dog", unknown), std::nullopt) << unknown;
    }
    WordVectors none;
    EXPECT_FALSE(none.load(folder.path() / "missing.txt"));
    write(file, std::string(1 << 20, '\0'));
    EXPECT_FALSE(none.load(file));
}

/// A small dictionary: dog and wolf are canines, canine and cat are animals, a car is none.
void writeDictionary(const Path& folder) {
    write(folder / "data.noun",
          "  1 licence\n"
          "00000010 03 n 01 entity 0 001 ~ 00000020 n 0000 | all there is\n"
          "00000020 03 n 01 animal 0 001 @ 00000010 n 0000 | lives\n"
          "00000030 05 n 01 canine 0 002 @ 00000020 n 0000 ~ 00000040 n 0000 | barks\n"
          "00000040 05 n 02 dog 0 hound 0 001 @ 00000030 n 0000 | the friend\n"
          "00000050 05 n 01 wolf 0 001 @ 00000030 n 0000 | the other\n"
          "00000060 06 n 01 car 0 001 @ 00000010 n 0000 | drives\n"
          "00000070 06 n 01 loop 0 001 @ 00000080 n 0000 | a circle\n"
          "00000080 06 n 01 pool 0 001 @ 00000070 n 0000 | of kinds\n"
          "00000090 06 n 01 broken\n");
    write(folder / "index.noun",
          "  1 licence\n"
          "dog n 1 1 @ 1 1 00000040\n"
          "hound n 1 1 @ 1 1 00000040\n"
          "wolf n 1 1 @ 1 1 00000050\n"
          "car n 1 1 @ 1 1 00000060\n"
          "loop n 1 1 @ 1 1 00000070\n"
          "pool n 1 1 @ 1 1 00000080\n"
          "ghost n 1 1 @ 1 1 99999999\n"
          "torn n 7 1 @\n");
    write(folder / "data.verb", "00000010 30 v 01 run 0 000 01 + 02 00 | moves\n");
    write(folder / "index.verb", "run v 1 0 1 1 00000010\n");
}

TEST(WordNetSimilarity, WordsAreNearBySharedConceptsThatSaySomething) {
    testing::TemporaryFolder folder;
    WordNetSimilarity words;
    EXPECT_FALSE(words.load(folder.path()));
    EXPECT_EQ(words.distance("dog", "dog"), std::nullopt);
    writeDictionary(folder.path());
    WordNetSimilarity loaded;
    ASSERT_TRUE(loaded.load(folder.path()));
    EXPECT_NEAR(*loaded.distance("dog", "hound"), 0.0, 1e-6);
    EXPECT_NEAR(*loaded.distance("dogs", "dog"), 0.0, 1e-6);
    EXPECT_NEAR(*loaded.distance("running", "run"), 0.0, 1e-6);
    EXPECT_LT(*loaded.distance("dog", "wolf"), *loaded.distance("dog", "car"));
    EXPECT_GT(*loaded.distance("dog", "car"), 0.9);
    EXPECT_NEAR(*loaded.distance("loop", "pool"), 0.0, 0.5) << "a circle of kinds ends";
    for (const std::string& unknown : {std::string("ghost"), std::string("torn"), std::string("zzz"),
                                       std::string(), std::string(1 << 20, 's')}) {
        EXPECT_EQ(loaded.distance("dog", unknown), std::nullopt);
    }
}

TEST(WordNetSimilarity, TheInstalledDictionaryKeepsNearSynonymsAndDropsTheRest) {
    WordNetSimilarity words;
    if (!words.load(Path(std::string(WordNetSimilarity::installedFolder)))) {
        GTEST_SKIP() << "wordnet-base is not installed";
    }
    // The search counts a similarity of (1 - distance) / 0.3 from 0.1 upwards.
    const auto counts = [&](const char* a, const char* b) {
        return (1.0 - *words.distance(a, b)) / 0.3 > 0.1;
    };
    for (const auto& [a, b] : {std::pair{"dog", "puppy"},
                               {"car", "automobile"},
                               {"ocean", "sea"},
                               {"boats", "ship"},
                               {"child", "kid"},
                               {"mountain", "hill"},
                               {"forest", "woods"},
                               {"road", "street"},
                               {"bicycle", "bike"},
                               {"church", "cathedral"},
                               {"river", "stream"},
                               {"shop", "store"},
                               {"woman", "lady"}}) {
        EXPECT_TRUE(counts(a, b)) << a << " " << b;
    }
    for (const auto& [a, b] : {std::pair{"dog", "car"},
                               {"beach", "computer"},
                               {"mountain", "food"},
                               {"tree", "person"},
                               {"cat", "street"},
                               {"night", "animal"},
                               {"water", "text"},
                               {"flower", "vehicle"},
                               {"sky", "person"},
                               {"portrait", "street"}}) {
        EXPECT_FALSE(counts(a, b)) << a << " " << b;
    }
}

}  // namespace
}  // namespace kelvaris
