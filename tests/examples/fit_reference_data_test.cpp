// The program as its user runs it: its closing line, its picture, and what it says about files that
// are missing, cut short or malformed.
#include "tests/examples/program.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <regex>
#include <thread>
#include <unistd.h>

extern "C" {
#include "examples/fit/data_set.h"
}

namespace
{

using namespace programs;

class FitReferenceData : public ProgramOnData
{
  protected:
    FitReferenceData() : ProgramOnData(FIT_PROGRAM, DATA_FOLDER) {}

    // What the program says when one file is not as it should be.
    std::string complaintAbout(const fs::path &file) const
    {
        const std::string said = complaint("");
        const std::string prefix = (data / file).string() + ':';
        EXPECT_EQ(said.substr(0, prefix.size()), prefix);
        return said.substr(std::min(prefix.size(), said.size()));
    }

    void write(const std::string &file, const std::string &text) const
    {
        std::ofstream(data / file, std::ios::binary) << text;
    }
};

TEST_F(FitReferenceData, ReachesTheDigitsPromised)
{
    const Outcome outcome = runOnData();
    const Lines lines = linesOf(outcome.out);
    ASSERT_FALSE(lines.empty());
    std::smatch counts;
    ASSERT_TRUE(
        std::regex_match(lines.back(), counts,
                         std::regex("as it comes: (\\d+) of 26 fits with at least 4 digits; "
                                    "with care: (\\d+) of 26 with at least 6 digits")))
        << lines.back();
    EXPECT_GE(std::stoi(counts[1]), 19) << outcome.out;
    EXPECT_EQ(std::stoi(counts[2]), 26) << outcome.out;
}

// set, start, params, observations, digits, iterations, evaluations, time, reached, certified
const std::regex row("(\\w+) +([12]) +(\\d+) +(\\d+) +(\\d+\\.\\d)([ *]) +(\\d+) +(\\d+) +"
                     "(\\d+\\.\\d\\d) +(\\S+) +(\\S+)");

TEST_F(FitReferenceData, PrintsOneLineAFitThatAgreesWithItsClosingLine)
{
    int rows[2] = {}, below[2] = {};
    int table = -1;
    const Lines lines = linesOf(runOnData().out);
    for (const std::string &line : lines) {
        table += line.find("* below") != std::string::npos;
        std::smatch field;
        if (!std::regex_match(line, field, row))
            continue;
        ASSERT_TRUE(table == 0 || table == 1);
        const double digits = std::stod(field[5]), wanted = table == 0 ? 4 : 6;
        const int parameters = std::stoi(field[3]), iterations = std::stoi(field[7]);
        const int evaluations = std::stoi(field[8]);
        ++rows[table];
        below[table] += field[6] == "*";
        EXPECT_LE(digits, 11) << line;
        // The digits are shown rounded to one place.
        EXPECT_TRUE(field[6] == "*" ? digits <= wanted + 0.05 : digits >= wanted - 0.05) << line;
        if (table == 0) { // one evaluation to begin with, then the columns and at least one try
            EXPECT_LE(iterations, 100) << line;
            EXPECT_GE(evaluations, 1 + iterations * (parameters + 1)) << line;
        } else {
            EXPECT_LE(iterations, 2000) << line;
            EXPECT_GE(evaluations, 1 + iterations) << line;
            EXPECT_NEAR(std::stod(field[10]) / std::stod(field[11]), 1, 1e-8) << line;
        }
    }
    EXPECT_EQ(rows[0], 26);
    EXPECT_EQ(rows[1], 26);
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(lines.back().find("as it comes: " + std::to_string(26 - below[0]) + " of"),
              std::string::npos);
    EXPECT_NE(lines.back().find("with care: " + std::to_string(26 - below[1]) + " of"),
              std::string::npos);
}

// The rows of a set in the second table, without their times.
Lines careful(const std::string &out, const std::string &set)
{
    Lines rows;
    const Lines lines = linesOf(out.substr(out.find("with care: exact")));
    for (const std::string &line : lines) {
        std::smatch field;
        if (std::regex_match(line, field, row) && field[1] == set)
            rows.push_back(field[5].str() + field[6].str() + ' ' + field[10].str());
    }
    return rows;
}

TEST_F(FitReferenceData, CountsDigitsAgainstTheCertifiedValueOfTheFile)
{
    // b1 moved by 1 in its fifth digit, a relative error of 1e-3 / 72.46 = 10^-4.86
    spoil(data / "rat42.csv", [](Lines &lines) {
        std::string &b1 = lines.at(10);
        ASSERT_NE(b1.find(",7.2462237576E+01,"), std::string::npos);
        b1.replace(b1.find("7.2462"), 6, "7.2463");
    });
    const std::string out = runOnData().out;
    EXPECT_EQ(careful(out, "Rat42"), (Lines{"4.9* 8.0565229338E+00", "4.9* 8.0565229338E+00"}));
    EXPECT_EQ(careful(out, "Thurber").size(), 2u);
    EXPECT_NE(out.find("with care: 24 of 26"), std::string::npos);
}

TEST_F(FitReferenceData, TakesExchangeableTermsInAnyOrder)
{
    const Lines rows = careful(runOnData().out, "Lanczos3");
    ASSERT_EQ(rows.size(), 2u);
    // b1 b2 change places with b5 b6, in the certified columns only
    spoil(data / "lanczos3.csv", [](Lines &lines) {
        const auto certified = [&](size_t j) {
            size_t at = 0;
            for (int comma = 0; comma < 3; ++comma)
                at = lines.at(9 + j).find(',', at) + 1;
            return std::pair(at, lines.at(9 + j).substr(at));
        };
        for (const size_t j : {size_t{1}, size_t{2}}) {
            const auto [here, first] = certified(j);
            const auto [there, second] = certified(j + 4);
            lines[9 + j].replace(here, std::string::npos, second);
            lines[13 + j].replace(there, std::string::npos, first);
        }
    });
    EXPECT_EQ(careful(runOnData().out, "Lanczos3"), rows);
}

TEST_F(FitReferenceData, SaysWhatToInstallWhereGnuplotIsMissing)
{
    const Outcome outcome = runOnData();
    EXPECT_EQ(outcome.status, EXIT_FAILURE);
    EXPECT_NE(outcome.err.find("install the package gnuplot-nox"), std::string::npos)
        << outcome.err;
    EXPECT_NE(outcome.out.find("as it comes: "), std::string::npos);
    EXPECT_FALSE(fs::exists(folder / "out/fit_reference_data.png"));
}

TEST_F(FitReferenceData, DrawsThePictureAndSaysWhere)
{
    if (!gnuplotIsThere())
        GTEST_SKIP() << "gnuplot is not installed";
    expectPicture(runOnData(""));
    const std::string png = contents(folder / "out/fit_reference_data.png");
    EXPECT_EQ(png.substr(20, 4), std::string("\0\0\x04\xec", 4)); // 1260 high
}

TEST_F(FitReferenceData, DrawsOnePanelASetWithAllItsObservations)
{
    runOnData();
    const std::string script = contents(folder / "out/fit_reference_data.gp");
    for (const Model &model : models) {
        const size_t title = script.find("set title '" + std::string(model.set) + '\'');
        ASSERT_NE(title, std::string::npos) << model.set;
    }
    size_t points = 0, expected = 0;
    bool inPoints = false;
    for (const std::string &line : linesOf(script)) {
        points += inPoints && line != "END";
        inPoints = line.rfind("$points", 0) == 0 ? true : inPoints && line != "END";
        EXPECT_EQ(line.find("nan"), std::string::npos) << line;
    }
    for (const Model &model : models) {
        DataSet set;
        ASSERT_TRUE(readDataSet(&set, &model, DATA_FOLDER));
        expected += static_cast<size_t>(set.nObservations);
        releaseDataSet(&set);
    }
    EXPECT_EQ(points, expected);
}

TEST_F(FitReferenceData, TakesFoldersWithQuotesAndBlanks)
{
    if (!gnuplotIsThere())
        GTEST_SKIP() << "gnuplot is not installed";
    const Outcome outcome = run(quoted(data) + " \"" + (folder / "it's out").string() + '"');
    EXPECT_EQ(outcome.status, EXIT_SUCCESS) << outcome.err;
    EXPECT_TRUE(fs::exists(folder / "it's out/fit_reference_data.png"));
}

TEST_F(FitReferenceData, SaysWhenTheOutputCannotBeWrittenAndStillClosesWithItsLine)
{
    write("file", "");
    const Outcome outcome = run(quoted(data) + ' ' + quoted(data / "file"));
    EXPECT_EQ(outcome.status, EXIT_FAILURE);
    EXPECT_EQ(outcome.err, (data / "file/fit_reference_data.gp").string() +
                               ": cannot be written: Not a directory\n");
    EXPECT_NE(outcome.out.find("\nas it comes: "), std::string::npos);

    const Outcome deep = run(quoted(data) + ' ' + quoted(data / "no/such/folder"));
    EXPECT_EQ(deep.status, EXIT_FAILURE);
    EXPECT_EQ(deep.err,
              (data / "no/such/folder").string() + ": cannot be made: No such file or directory\n");
}

TEST_F(FitReferenceData, ShowsProgressOnATerminalAndNotInAPipe)
{
    EXPECT_EQ(runOnData().err.find('\r'), std::string::npos);

    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(terminal, 0);
    ASSERT_EQ(grantpt(terminal), 0);
    ASSERT_EQ(unlockpt(terminal), 0);
    const std::string line = ptsname(terminal);
    std::string seen;
    std::thread reader([&] { // ends when the program closes the line
        char part[512];
        for (ssize_t n; (n = read(terminal, part, sizeof part)) > 0;)
            seen.append(part, static_cast<size_t>(n));
    });
    const std::string command = withoutGnuplot + ' ' + quoted(FIT_PROGRAM) + ' ' + quoted(data) +
                                ' ' + quoted(folder / "out") + " >/dev/null 2>" + line;
    EXPECT_NE(std::system(command.c_str()), -1);
    reader.join();
    close(terminal);
    EXPECT_NE(seen.find("\rfit  1 of 52: Misra1a"), std::string::npos) << seen;
    EXPECT_NE(seen.find("\rfit 52 of 52: Thurber"), std::string::npos) << seen;
}

TEST_F(FitReferenceData, ExplainsItsArguments) { expectUsage(); }

TEST_F(FitReferenceData, NamesAMissingFile)
{
    fs::remove(data / "hahn1.csv");
    EXPECT_EQ(complaintAbout("hahn1.csv"), " cannot be opened: No such file or directory\n");
}

TEST_F(FitReferenceData, NamesEveryFileOfAMissingFolder)
{
    const Outcome outcome = run(quoted(folder / "nowhere"));
    EXPECT_EQ(outcome.status, EXIT_FAILURE);
    EXPECT_EQ(linesOf(outcome.err).size(), size_t{MODEL_COUNT});
    for (const Model &model : models)
        EXPECT_NE(outcome.err.find(std::string(model.file) + ": cannot be opened"),
                  std::string::npos);
}

TEST_F(FitReferenceData, NamesAFolderInPlaceOfAFile)
{
    fs::remove(data / "rat42.csv");
    fs::create_directory(data / "rat42.csv");
    EXPECT_EQ(complaintAbout("rat42.csv"), "1: cannot be read: Is a directory\n");
}

TEST_F(FitReferenceData, ReadsLinesEndedAsOnOtherSystems)
{
    std::string text;
    for (const std::string &line : linesOf(contents(data / "misra1a.csv")))
        text += line + "\r\n";
    write("misra1a.csv", text);
    DataSet set;
    ASSERT_TRUE(readDataSet(&set, &models[0], data.c_str()));
    EXPECT_EQ(std::string(set.responseName), "volume");
    EXPECT_EQ(std::string(set.predictorName[0]), "pressure");
    EXPECT_EQ(set.y[13], 81.78);
    EXPECT_EQ(set.x[13], 760.0);
    releaseDataSet(&set);
}

// Wherever a file ends too early, even within its last number, the line of the end is named.
TEST_F(FitReferenceData, NoticesEveryCut)
{
    const std::string whole = contents(data / "danwood.csv");
    const Model *danWood = models;
    while (std::string(danWood->set) != "DanWood")
        ++danWood;
    for (size_t length = 0; length < whole.size(); ++length) {
        write("danwood.csv", whole.substr(0, length));
        DataSet set;
        testing::internal::CaptureStderr();
        const bool complete = readDataSet(&set, danWood, data.c_str());
        const std::string said = testing::internal::GetCapturedStderr();
        ASSERT_FALSE(complete) << length;
        const auto line =
            1 + std::count(whole.begin(), whole.begin() + static_cast<long>(length), '\n');
        const std::string wanted =
            (data / "danwood.csv").string() + ':' + std::to_string(line) + ": cut short";
        ASSERT_EQ(said.substr(0, wanted.size()), wanted);
    }
}

struct Fault {
    const char *name;
    const char *file;
    std::function<void(Lines &)> change;
    const char *complaint; // after "file:"
};

void PrintTo(const Fault &fault, std::ostream *out) { *out << fault.file; }

// misra1a.csv: 1-2 comments, 3 set, 4 model, 5 parameters, 6 observations, 7 residual sum, 8 its
// deviation, 9 degrees of freedom, 10 head of the parameters, 11-12 parameters, 13 column names,
// 14-27 observations. nelson.csv has one parameter more.
const Fault faults[] = {
    {"Empty", "misra1a.csv", endAfter(0), "1: cut short: set is missing\n"},
    {"CutInTheHead", "misra1a.csv", endAfter(6),
     "7: cut short: residual sum of squares is missing\n"},
    {"CutBeforeTheParameters", "misra1a.csv", endAfter(9),
     "10: cut short: the line above the parameters is missing\n"},
    {"CutInTheParameters", "misra1a.csv", endAfter(11), "12: cut short: b2 is missing\n"},
    {"CutBeforeTheColumnNames", "misra1a.csv", endAfter(12),
     "13: cut short: the line of column names is missing\n"},
    {"CutInTheObservations", "misra1a.csv", endAfter(20),
     "21: cut short: observation 8 of 14 is missing\n"},
    {"AnotherSet", "misra1a.csv", line(3, "set,Misra1b"),
     "3: expected the set Misra1a, found Misra1b\n"},
    {"AnotherKey", "misra1a.csv", line(4, "equation,y = 1"),
     "4: expected 'model', found 'equation'\n"},
    {"NoValue", "misra1a.csv", line(4, "model"), "4: expected model in 2 fields, found 1\n"},
    {"AnotherParameterCount", "misra1a.csv", line(5, "parameters,3"),
     "5: expected 2 parameters, found 3\n"},
    {"CountIsZero", "misra1a.csv", line(6, "observations,0"),
     "6: expected a count from 1 to 1000000 for observations\n"},
    {"CountIsFractional", "misra1a.csv", line(6, "observations,14.5"),
     "6: expected a count from 1 to 1000000 for observations\n"},
    {"CountIsHuge", "misra1a.csv", line(6, "observations,4294967310"),
     "6: expected a count from 1 to 1000000 for observations\n"},
    {"CountTooLarge", "misra1a.csv",
     [](Lines &lines) {
         lines[5] = "observations,15";
         lines[7] = "residual standard deviation,0.0978819496756562";
         lines[8] = "degrees of freedom,13";
     },
     "28: cut short: observation 15 of 15 is missing\n"},
    {"DegreesOfFreedomDoNotFit", "misra1a.csv", line(9, "degrees of freedom,13"),
     "9: 13 degrees of freedom do not fit 14 observations of 2 parameters\n"},
    {"DigitChangedInTheResidualSum", "misra1a.csv",
     line(7, "residual sum of squares,1.2456138894E-01"),
     "9: the residual sum of squares, its deviation and the degrees of freedom disagree\n"},
    {"NoParameterHead", "misra1a.csv", line(10, "b1,500"),
     "10: expected 'parameter,start 1,start 2,certified,standard deviation', found 'b1,500'\n"},
    {"ParameterLeftOut", "misra1a.csv", [](Lines &lines) { lines.erase(lines.begin() + 10); },
     "11: expected 'b1', found 'b2'\n"},
    {"ParameterTooShort", "misra1a.csv", line(11, "b1,500,250,2.3894212918E+02"),
     "11: expected b1 in 5 fields, found 4\n"},
    {"StartIsNoNumber", "misra1a.csv", line(11, "b1,fifty,250,2.3894212918E+02,2.7070075241E+00"),
     "11: expected a number for start 1, found 'fifty'\n"},
    {"SecondStartIsNoNumber", "misra1a.csv", line(12, "b2,0.0001,,5.5015643181E-04,7.3E-06"),
     "12: expected a number for start 2, found ''\n"},
    {"CertifiedIsNoNumber", "misra1a.csv", line(12, "b2,0.0001,0.0005,0x10,7.2668688436E-06"),
     "12: expected a number for the certified value, found '0x10'\n"},
    {"DeviationIsNoNumber", "misra1a.csv", line(12, "b2,0.0001,0.0005,5.5E-04,1.2.3"),
     "12: expected a number for the standard deviation, found '1.2.3'\n"},
    {"StartIsZero", "misra1a.csv", line(12, "b2,0.0001,0,5.5015643181E-04,7.2668688436E-06"),
     "12: starts and certified value must not be 0\n"},
    {"ColumnNameTooMany", "misra1a.csv", line(13, "volume,pressure,temperature"),
     "13: expected column names in 2 fields, found 3\n"},
    {"ObservationIsNoNumber", "misra1a.csv", line(16, "17.94,14l.1"),
     "16: expected a number for observation 3 of 14, found '14l.1'\n"},
    {"ObservationIsNaN", "misra1a.csv", line(16, "nan,141.1"),
     "16: expected a number for observation 3 of 14, found 'nan'\n"},
    {"ObservationIsInfinite", "misra1a.csv", line(16, "17.94,1e999"),
     "16: expected a number for observation 3 of 14, found '1e999'\n"},
    {"ObservationIsPadded", "misra1a.csv", line(16, "17.94, 141.1"),
     "16: expected a number for observation 3 of 14, found ' 141.1'\n"},
    {"ObservationHasNoPredictor", "misra1a.csv", line(16, "17.94"),
     "16: expected observation 3 of 14 in 2 fields, found 1\n"},
    {"ObservationIsEmpty", "misra1a.csv", line(16, ""),
     "16: expected observation 3 of 14 in 2 fields, found 1\n"},
    {"ObservationHasTooManyFields", "misra1a.csv", line(16, "17.94,141.1,"),
     "16: expected observation 3 of 14 in 2 fields, found 3\n"},
    {"ObservationTooMany", "misra1a.csv", [](Lines &lines) { lines.push_back("82,761"); },
     "28: expected the end after 14 observations\n"},
    {"SecondPredictorMissing", "nelson.csv", line(15, "15.00,1"),
     "15: expected observation 1 of 128 in 3 fields, found 2\n"},
    {"NoLogarithm", "nelson.csv", line(15, "0,1,180"),
     "15: the logarithm of observation 1 of 128 does not exist\n"},
    {"BinaryData", "misra1a.csv", [](Lines &lines) { lines[15] = std::string("17\0,1", 5); },
     "16: binary data instead of text\n"},
    {"LineTooLong", "misra1a.csv",
     [](Lines &lines) { lines[15] = "17.94,141." + std::string(2000, '0'); },
     "16: line longer than 1023 characters\n"},
    {"TextTooLong", "misra1a.csv",
     [](Lines &lines) { lines[3] = "model," + std::string(300, 'y'); },
     "4: model is longer than 255 characters\n"},
    {"ColumnNameTooLong", "misra1a.csv",
     [](Lines &lines) { lines[12] = std::string(256, 'v') + ",pressure"; },
     "13: column name longer than 255 characters\n"},
};

class MalformedFile : public FitReferenceData, public testing::WithParamInterface<Fault>
{
};

TEST_P(MalformedFile, IsNamedWithItsLine)
{
    const Fault &fault = GetParam();
    spoil(data / fault.file, fault.change);
    EXPECT_EQ(complaintAbout(fault.file), fault.complaint);
}

INSTANTIATE_TEST_SUITE_P(EveryFault, MalformedFile, testing::ValuesIn(faults),
                         [](const auto &fault) { return std::string(fault.param.name); });

} // namespace
