// Files that go when their owner does, at the end of a scope or of the process, unless they are kept.
#ifndef LML_TEMPORARYFILE_H
#define LML_TEMPORARYFILE_H

#include <string>

namespace LumoraLib::detail
{
class TemporaryFile
{
public:
    /// No file.
    TemporaryFile() = default;
    /// Takes charge of the name, whether or not there is a file yet; an empty one is no file.
    explicit TemporaryFile(std::string path);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& Path() const { return path_; }
    /// Removes the name now; what is open stays readable.
    void Remove();
    /// Gives the file its place, on the disk also after a loss of power. False where that fails.
    [[nodiscard]] bool MoveTo(const std::string& place);

private:
    void Forget();
    static void RemoveAll();

    std::string path_;
    int process_ = 0;
    TemporaryFile* next_ = nullptr;
};
} // namespace LumoraLib::detail

#endif
