// qelalert verify over stores with random bytes in them.
#include <algorithm>
#include <filesystem>

#include "alert_index.h"
#include "support/files.h"
#include "support/random.h"
#include "support/sanitizer.h"
#include "verify_damage.h"

namespace qel::cli::testing {
namespace {

constexpr int kRounds = alt_test::is_sanitized() ? 15 : 40;
constexpr uint32_t kAlerts = 12;

class VerifyBytes : public CliTest {
 protected:
  void SetUp() override { cluster_.store_alerts(1, kAlerts); }

  // One byte of a file becomes another one.
  void change_byte(alt_test::Random* random, const std::string& file, size_t offset) const {
    const char before = bytes_.read(file).at(offset);
    const auto change = static_cast<char>(1 + random->below(255));
    bytes_.put(file, offset, {static_cast<char>(before ^ change)});
  }

  const StoreBytes bytes_{cluster_};
};

TEST_F(VerifyBytes, AnyOtherByteInAnIndexIsFoundInThatFile) {
  for (const uint64_t seed : alt_test::test_seeds({1})) {
    alt_test::Random random(seed);
    for (int i = 0; i < kRounds; ++i) {
      const std::string file = idx_name[random.below(ALERT_INDEX_COUNT)];
      const std::string sound = bytes_.read(file);
      const size_t offset = random.below(sound.size());
      change_byte(&random, file, offset);
      const Result result = qelalert({"verify"});
      EXPECT_EQ(1, result.exit_code);
      EXPECT_EQ(0U, result.out.find(cluster_.store_path(file) + ": line "))
          << file << " byte " << offset << "\n"
          << alt_test::repeat_command(seed);
      bytes_.replace(file, sound);
    }
  }
}

// Nothing tells whether the letters of a message, or the digits of a write time, are others.
TEST_F(VerifyBytes, AnyOtherByteInAKeyOfARecordIsFound) {
  const std::vector<Column> keys = {kColumnId,     kColumnServerTime, kColumnServer,
                                    kColumnModule, kColumnEvent,      kColumnLevel};
  for (const uint64_t seed : alt_test::test_seeds({2})) {
    alt_test::Random random(seed);
    const std::string sound = bytes_.read(kLog);
    for (int i = 0; i < kRounds; ++i) {
      const Column& column = random.pick(keys);
      const size_t offset =
          in_record(random.below(kAlerts), column.begin + random.below(column.width)).byte;
      change_byte(&random, kLog, offset);
      EXPECT_EQ(1, qelalert({"verify"}).exit_code) << "byte " << offset << "\n"
                                                   << alt_test::repeat_command(seed);
      bytes_.replace(kLog, sound);
    }
  }
}

// Cuts a file, or puts random bytes into it or over it.
void spoil(alt_test::Random* random, const StoreBytes& bytes, const std::string& file) {
  const size_t size = bytes.read(file).size();
  const size_t offset = random->below(size);
  std::string noise(1 + random->below(random->chance(50) ? 4 : 2000), '\0');
  std::generate(noise.begin(), noise.end(), [&] { return static_cast<char>(random->below(256)); });
  if (random->chance(30)) return bytes.cut(file, offset);
  if (random->chance(30)) return bytes.insert(file, offset, noise);
  bytes.put(file, offset, noise);
}

TEST_F(VerifyBytes, SpoiledFilesAreExaminedToTheEnd) {
  for (const uint64_t seed : alt_test::test_seeds({3})) {
    alt_test::Random random(seed);
    const auto sound = cluster_.store_files();
    for (int i = 0; i < kRounds; ++i) {
      for (auto spoiled = random.below(3) + 1; spoiled > 0; --spoiled) {
        const std::string file = alt_test::kStoreFiles[random.below(7)];
        if (std::filesystem::file_size(cluster_.store_path(file)) > 0) spoil(&random, bytes_, file);
      }
      const Result result = qelalert({"verify"});
      EXPECT_EQ(result.out.empty() ? 0 : 1, result.exit_code) << alt_test::repeat_command(seed);
      EXPECT_EQ(result.out.empty(), result.err.find(" finding") == std::string::npos) << result.err;
      for (const auto& [name, content] : sound) bytes_.replace(name, content);
    }
  }
}

}  // namespace
}  // namespace qel::cli::testing
