// A program run in a folder of its own, and text files to feed it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace programs
{

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

inline std::string contents(const fs::path &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline Lines linesOf(const std::string &text)
{
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

inline std::string joined(const Lines &lines)
{
    std::string text;
    for (const std::string &line : lines)
        text += line + '\n';
    return text;
}

// The numbers of a line, parted by blanks or commas, up to the first that is none.
inline std::vector<double> numbersIn(std::string text)
{
    std::replace(text.begin(), text.end(), ',', ' ');
    std::vector<double> numbers;
    std::istringstream stream(text);
    for (double value; stream >> value;)
        numbers.push_back(value);
    return numbers;
}

inline std::string quoted(const fs::path &path) { return '\'' + path.string() + '\''; }

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

inline const std::string withoutGnuplot = "PATH=/nonexistent";

inline bool gnuplotIsThere() { return std::system("gnuplot --version >/dev/null 2>&1") == 0; }

// Replaces the numbered line, counted from 1 as in messages.
inline std::function<void(Lines &)> line(size_t number, const char *text)
{
    return [=](Lines &lines) { lines.at(number - 1) = text; };
}

inline std::function<void(Lines &)> endAfter(size_t count)
{
    return [=](Lines &lines) { lines.resize(count); };
}

inline fs::path makeFolder(const std::string &prefix)
{
    std::string name = (fs::temp_directory_path() / (prefix + "-XXXXXX")).string();
    return mkdtemp(name.data());
}

// The streams go to files in the folder.
inline Outcome runProgram(const fs::path &program, const std::string &arguments,
                          const fs::path &folder, const std::string &environment = "")
{
    const std::string command = environment + ' ' + quoted(program) + ' ' + arguments + " >" +
                                quoted(folder / "stdout") + " 2>" + quoted(folder / "stderr");
    const int status = std::system(command.c_str());
    return {WEXITSTATUS(status), contents(folder / "stdout"), contents(folder / "stderr")};
}

// A program and a folder of its own for each test, with a copy of the data, a file or a folder,
// that the test may spoil.
class ProgramOnData : public testing::Test
{
  protected:
    ProgramOnData(const fs::path &itsProgram, const fs::path &original)
        : program(itsProgram), folder(makeFolder("kmath-example")), data(folder / "data")
    {
        fs::copy(original, data);
    }
    ~ProgramOnData() override { fs::remove_all(folder); }

    Outcome run(const std::string &arguments, const std::string &environment = "") const
    {
        return runProgram(program, arguments, folder, environment);
    }

    Outcome runOnData(const std::string &environment = withoutGnuplot) const
    {
        return run(quoted(data) + ' ' + quoted(folder / "out"), environment);
    }

    // What the program says when it cannot use the data.
    std::string complaint(const std::string &environment = withoutGnuplot) const
    {
        const Outcome outcome = runOnData(environment);
        EXPECT_EQ(outcome.status, EXIT_FAILURE);
        EXPECT_EQ(outcome.out, "");
        EXPECT_FALSE(fs::exists(folder / "out"));
        EXPECT_EQ(linesOf(outcome.err).size(), 1u) << outcome.err;
        return outcome.err;
    }

    void spoil(const fs::path &file, const std::function<void(Lines &)> &change) const
    {
        Lines lines = linesOf(contents(file));
        change(lines);
        std::ofstream(file, std::ios::binary) << joined(lines);
    }

    void expectUsage(const std::vector<std::string> &refused = {"a b c", "--unknown"}) const
    {
        const std::string usage = "usage: " + program.filename().string();
        for (const char *asking : {"--help", "-h"}) {
            const Outcome help = run(asking);
            EXPECT_EQ(help.status, EXIT_SUCCESS);
            EXPECT_EQ(help.out.rfind(usage, 0), 0u);
        }
        for (const std::string &arguments : refused) {
            const Outcome refusal = run(arguments);
            EXPECT_EQ(refusal.status, 2) << arguments;
            EXPECT_EQ(refusal.err.rfind(usage, 0), 0u) << arguments;
            EXPECT_EQ(refusal.out, "");
        }
    }

    // A picture of the program's name, 2000 pixels wide, whose place the program has told.
    void expectPicture(const Outcome &outcome) const
    {
        const fs::path picture = folder / "out" / (program.filename().string() + ".png");
        EXPECT_EQ(outcome.status, EXIT_SUCCESS) << outcome.err;
        EXPECT_NE(outcome.out.find("picture: " + picture.string() + '\n'), std::string::npos);
        const std::string png = contents(picture);
        ASSERT_GT(png.size(), 24u);
        EXPECT_EQ(png.substr(0, 8), "\x89PNG\r\n\x1a\n");
        EXPECT_EQ(png.substr(16, 4), std::string("\0\0\x07\xd0", 4));
    }

    void expectComplaintAboutOutputFolder() const
    {
        std::ofstream(folder / "file") << '\n';
        const Outcome outcome = run(quoted(data) + ' ' + quoted(folder / "file/out"));
        EXPECT_EQ(outcome.status, EXIT_FAILURE);
        EXPECT_EQ(outcome.err,
                  (folder / "file/out").string() + ": cannot be made: Not a directory\n");
    }

    const fs::path program;
    const fs::path folder;
    const fs::path data;
};

} // namespace programs
