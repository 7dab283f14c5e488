// Where a command's product goes: the standard output, or a file that appears whole or not at all.
#pragma once
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace tramo::cli {

/// A file in the making. It is written beside the one named, and takes its place when it is complete; until then, and
/// after any failure, the old file stands as it was. "-" is the standard output, which is written at once, as are devices.
///
/// Every operation throws WriteFailed.
class OutFile {
public:
    /// Secret: readable for its owner only, if it is new. Held: the standard output and devices, too, get nothing before
    /// `commit`; until then it is in a temporary file.
    enum class Mode { Usual, Secret, Held };
    explicit OutFile(const std::string& path, Mode mode = Mode::Usual);

    /// Without `commit`: the unfinished file is taken away.
    ~OutFile() = default;
    OutFile(const OutFile&) = delete;
    OutFile& operator=(const OutFile&) = delete;

    /// There has been one: what ends the command now keeps it from writing something.
    static bool anyBegun() { return begun; }

    bool isStandardOutput() const { return place.empty(); }

    /// The unfinished file, for those who open it by themselves; "" for the standard output.
    const std::string& temporaryPath() const { return unfinished.path; }

    void write(std::string_view bytes);

    /// Everything has reached the disk, and the file its place. A file that was there keeps its mode; a symbolic link is
    /// followed.
    void commit();

private:
    struct Unfinished {
        ~Unfinished();
        std::string path{};
        bool isOurs = false;  ///< a file beside the one named, to be taken away
    };

    void release();
    [[noreturn]] void fail(int error) const;

    static bool begun;

    std::string name;   ///< as the user calls it
    std::string place;  ///< where the file goes, links followed
    Unfinished unfinished;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file{nullptr, std::fclose};
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> held{nullptr, std::fclose};  ///< has what `file` gets in the end
};

}  // namespace tramo::cli
