// No option without a test that runs the real program with it.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "command_line.h"

namespace qel::cli::testing {
namespace {

struct Tested {
  const char* command;  // empty: of the program itself
  const char* option;   // as CLI names it; empty: the subcommand without options
  const char* test;
};

constexpr Tested kTested[] = {
    {"", "", "Reading.ListIsTheSubcommandWhenThereIsNone"},
    {"", "--help", "Usage.HelpShowsTheWayInAndTheExitCodes"},
    {"", "--version", "Usage.VersionIsPrinted"},
    {"", "--config", "Usage.ConfigOptionNamesTheConfigurationDirectory"},
    {"list", "", "Forms.EverySubcommandHasItsUsualForm"},
    {"list", "--since", "FullLog.EveryFilterShowsAndCountsWhatItSays"},
    {"list", "--until", "FullLog.EveryFilterShowsAndCountsWhatItSays"},
    {"list", "--last", "Reading.ListTakesTimesBackFromNow"},
    {"list", "--server", "FullLog.EveryFilterShowsAndCountsWhatItSays"},
    {"list", "--module", "FullLog.EveryFilterShowsAndCountsWhatItSays"},
    {"list", "--event", "FullLog.EveryFilterShowsAndCountsWhatItSays"},
    {"list", "--level", "FullLog.EveryFilterShowsAndCountsWhatItSays"},
    {"list", "--grep", "FullLog.EveryFilterShowsAndCountsWhatItSays"},
    {"list", "--lines", "Reading.LinesLeaveTheNewestInTheSameOrder"},
    {"list", "--reverse", "Reading.ReverseShowsNewestFirst"},
    {"list", "--follow", "Following.ListFollowsInTheSameWay"},
    {"list", "--cursor-file", "Cursor.ManyPollsMissNothingAndRepeatNothing"},
    {"list", "--output", "Forms.EveryFormIsTheSameFromEverySubcommand"},
    {"list", "--fields", "Forms.FieldsChooseWhatIsShownAndTakeATableByThemselves"},
    {"list", "--utc", "Forms.TimesAreUtcOnRequestInEveryForm"},
    {"list", "--color", "Colour.ChoiceOverridesWhatTheOutputIs"},
    {"list", "--no-pager", "Paging.OptionSwitchesItOff"},
    {"follow", "", "Following.NewestTenComeFirstAndThenEachNewOne"},
    {"follow", "--since", "Following.EveryFilterChoosesAmongTheNewOnes"},
    {"follow", "--until", "Following.EveryFilterChoosesAmongTheNewOnes"},
    {"follow", "--last", "Following.EveryFilterChoosesAmongTheNewOnes"},
    {"follow", "--server", "Following.EveryFilterChoosesAmongTheNewOnes"},
    {"follow", "--module", "Following.EveryFilterChoosesAmongTheNewOnes"},
    {"follow", "--event", "Following.EveryFilterChoosesAmongTheNewOnes"},
    {"follow", "--level", "Following.EveryFilterChoosesAmongTheNewOnes"},
    {"follow", "--grep", "Following.EveryFilterChoosesAmongTheNewOnes"},
    {"follow", "--lines", "Following.NumberOfTheFirstOnesMayBeChosen"},
    {"follow", "--cursor-file", "Following.CursorFileGoesOnWhereTheLastOneEnded"},
    {"follow", "--output", "Following.FormsHaveTheirHeadOnceAndShowEachAlertAtOnce"},
    {"follow", "--fields", "Following.FormsHaveTheirHeadOnceAndShowEachAlertAtOnce"},
    {"follow", "--utc", "Following.FormsHaveTheirHeadOnceAndShowEachAlertAtOnce"},
    {"follow", "--color", "Following.FormsHaveTheirHeadOnceAndShowEachAlertAtOnce"},
    {"last", "", "Reading.LastShowsTheNewestTenOrAnyOtherNumberNewestFirst"},
    {"last", "N", "Reading.LastShowsTheNewestTenOrAnyOtherNumberNewestFirst"},
    {"last", "--output", "Forms.EveryFormIsTheSameFromEverySubcommand"},
    {"last", "--fields", "Forms.FieldsChooseWhatIsShownAndTakeATableByThemselves"},
    {"last", "--utc", "Forms.TimesAreUtcOnRequestInEveryForm"},
    {"last", "--color", "Forms.TableIsCutAtTheWidthOfATerminalOnly"},
    {"show", "", "Show.AlertIsShownWithAllItHolds"},
    {"show", "SERVER/ID", "Show.SeveralComeInTheOrderAsked"},
    {"show", "--output", "Forms.ShowHasTheFormsAlertByAlert"},
    {"show", "--fields", "Forms.FieldsChooseWhatIsShownAndTakeATableByThemselves"},
    {"show", "--utc", "Forms.TimesAreUtcOnRequestInEveryForm"},
    {"show", "--color", "HostileText.FormsForPeopleShowItAsHexadecimalEverywhere"},
    {"count", "", "FullLog.EveryFilterShowsAndCountsWhatItSays"},
    {"count", "--since", "FullLog.EveryFilterShowsAndCountsWhatItSays"},
    {"count", "--until", "FullLog.EveryFilterShowsAndCountsWhatItSays"},
    {"count", "--server", "FullLog.EveryFilterShowsAndCountsWhatItSays"},
    {"count", "--module", "FullLog.EveryFilterShowsAndCountsWhatItSays"},
    {"count", "--event", "FullLog.EveryFilterShowsAndCountsWhatItSays"},
    {"count", "--level", "FullLog.EveryFilterShowsAndCountsWhatItSays"},
    {"count", "--grep", "FullLog.EveryFilterShowsAndCountsWhatItSays"},
    {"count", "--last", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"stats", "", "Stats.EverySectionIsShownWithCountShareAndBar"},
    {"stats", "--since", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"stats", "--until", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"stats", "--last", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"stats", "--server", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"stats", "--module", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"stats", "--event", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"stats", "--level", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"stats", "--grep", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"stats", "--by", "Stats.SectionsAreChosenInTheOrderAsked"},
    {"stats", "--lines", "Stats.LinesBeyondTheNumberAreSummedUp"},
    {"stats", "--output", "Stats.JsonHasEveryCountWhateverTheLines"},
    {"export", "", "Export.FiltersChooseWhatIsWrittenOldestFirst"},
    {"export", "--since", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"export", "--until", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"export", "--last", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"export", "--server", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"export", "--module", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"export", "--event", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"export", "--level", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"export", "--grep", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"export", "--file", "Export.FileHasWhatStandardOutputWouldGet"},
    {"export", "--output", "Forms.EveryFormIsTheSameFromEverySubcommand"},
    {"export", "--fields", "Forms.FieldsChooseWhatIsShownAndTakeATableByThemselves"},
    {"export", "--utc", "Forms.TimesAreUtcOnRequestInEveryForm"},
    {"export", "--color", "Export.ColoursGoIntoTheFileOnRequestOnly"},
    {"raise", "", "Raise.DefaultsAreLevel3ThisServerAndNow"},
    {"raise", "MESSAGE", "Raise.LongestTextsAreKeptWhole"},
    {"raise", "--event", "Raise.AllOptionsGiveOneLineWithTheirTexts"},
    {"raise", "--module", "Raise.AllOptionsGiveOneLineWithTheirTexts"},
    {"raise", "--level", "Raise.AllOptionsGiveOneLineWithTheirTexts"},
    {"raise", "--server", "Raise.AllOptionsGiveOneLineWithTheirTexts"},
    {"raise", "--time", "Raise.AllOptionsGiveOneLineWithTheirTexts"},
    {"raise", "--wait", "Delivery.AlertThatAllHaveIsToldByItsNameAndTheirs"},
    {"raise", "--timeout", "Delivery.ServerThatDoesNotAnswerInTimeMakesItIncomplete"},
    {"status", "", "Status.AnswerIsShownAligned"},
    {"status", "--output", "Status.AnswerAsJsonIsPassedOnWhole"},
    {"peers", "", "Peers.ClusterIsShownInTables"},
    {"peers", "--check", "Peers.CheckTellsWhatIsMissingAndSaysSoByItsCode"},
    {"peers", "--output", "Peers.JsonIsTheFourMembersAsTheyAre"},
    {"gaps", "", "Gaps.HolesOfEachServerAreShownAndTheCodeSaysSo"},
    {"gaps", "--server", "Gaps.ServerMayBeChosenOrLeftOut"},
    {"gaps", "--output", "Gaps.JsonHasEveryHole"},
    {"check", "", "Check.HealthyClusterIsOkWithAllFigures"},
    {"check", "--since", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"check", "--until", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"check", "--last", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"check", "--server", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"check", "--module", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"check", "--event", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"check", "--level", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"check", "--grep", "Reading.EverySubcommandWithFiltersTakesEachOfThem"},
    {"check", "--warning", "CheckOfAlerts.ThresholdsAreReachedAtTheirCount"},
    {"check", "--critical", "CheckOfAlerts.ThresholdsAreReachedAtTheirCount"},
    {"complete", "", "Complete.ValuesThatOccurAreALineEachAndOnce"},
    {"complete", "FIELD", "Complete.ValuesThatOccurAreALineEachAndOnce"},
    {"config", "", "Config.WrongUseIsRefused"},
    {"config check", "", "Config.CheckOfAValidConfigurationPrintsOneLine"},
    {"config check", "PATH", "Config.CheckOfAFileIsOfThatFileAlone"},
    {"config check", "--quiet", "Config.QuietCheckPrintsFindingsAlone"},
    {"verify", "", "Verify.LogIsSoundInEachSize"},
    {"verify", "PLACE", "Verify.CopyIsExaminedByDirectoryAndByFileWithoutAConfiguration"},
    {"verify", "--verbose", "Verify.VerboseTellsWhatWasExamined"},
};

using Option = std::pair<std::string, std::string>;  // subcommand and option

// Every option of a command, itself among them; of a command with commands of its own all of them.
void add_options(CLI::App& app, const std::string& command, std::set<Option>* options) {
  options->insert({command, ""});
  for (const CLI::Option* option : app.get_options()) {
    const bool help_of_a_command = option->get_name() == "--help" && !command.empty();
    if (!help_of_a_command) options->insert({command, option->get_name()});
  }
  for (CLI::App* sub : app.get_subcommands({})) {
    add_options(*sub, command.empty() ? sub->get_name() : command + " " + sub->get_name(), options);
  }
}

bool exists(const std::string& test) {
  const ::testing::UnitTest& program = *::testing::UnitTest::GetInstance();
  for (int i = 0; i < program.total_test_suite_count(); ++i) {
    const ::testing::TestSuite& suite = *program.GetTestSuite(i);
    for (int k = 0; k < suite.total_test_count(); ++k) {
      if (suite.name() + std::string(".") + suite.GetTestInfo(k)->name() == test) return true;
    }
  }
  return false;
}

TEST(OptionTable, EveryOptionOfEverySubcommandHasATestThatExists) {
  CommandLine line;
  std::set<Option> open;
  add_options(line.app(), "", &open);
  for (const auto& [command, option, test] : kTested) {
    EXPECT_EQ(1U, open.erase({command, option}))
        << "no such option, or twice in the table: " << command << " " << option;
    EXPECT_TRUE(exists(test)) << "no test " << test << " for " << command << " " << option;
  }
  for (const auto& [command, option] : open) {
    ADD_FAILURE() << "no test is named for: qelalert " << command << " " << option;
  }
}

}  // namespace
}  // namespace qel::cli::testing
