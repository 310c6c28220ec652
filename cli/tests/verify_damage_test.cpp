// qelalert verify over stores with one damage each: it names the file and the place, and changes
// nothing.
#include "verify_damage.h"

namespace qel::cli::testing {
namespace {

TEST_P(DamagedStore, IsNamedWithFileAndPlaceAndStaysAsItIs) {
  const auto& [name, plant, file, at, words, capacity] = GetParam();
  plant(StoreBytes(cluster_));
  const auto before = picture_of(cluster_);
  const Result result = qelalert({"verify"});
  EXPECT_EQ(1, result.exit_code) << result.err;
  const std::string place = cluster_.store_path(file) + ": line " + std::to_string(at.line) +
                            " (byte " + std::to_string(at.byte) + "): ";
  const size_t begin = result.out.find(place);
  ASSERT_NE(std::string::npos, begin) << place << "\nis not in\n" << result.out;
  const std::string said = result.out.substr(begin, result.out.find('\n', begin) - begin);
  EXPECT_NE(std::string::npos, said.find(words)) << said;
  EXPECT_NE(std::string::npos, result.err.find(" in ")) << result.err;
  EXPECT_EQ(before, picture_of(cluster_));
}

INSTANTIATE_TEST_SUITE_P(Header, DamagedStore, ::testing::ValuesIn(header_damages()),
                         name_of_damage);
INSTANTIATE_TEST_SUITE_P(Record, DamagedStore, ::testing::ValuesIn(record_damages()),
                         name_of_damage);
INSTANTIATE_TEST_SUITE_P(Index, DamagedStore, ::testing::ValuesIn(index_damages()), name_of_damage);

}  // namespace
}  // namespace qel::cli::testing
