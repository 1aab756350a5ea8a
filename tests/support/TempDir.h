#ifndef KORVANE_TESTS_TEMPDIR_H
#define KORVANE_TESTS_TEMPDIR_H

#include <string>

namespace korvane::test {

// A fresh directory under $TMPDIR (or /tmp), removed with its contents.
class TempDir
{
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }
    // Writes bytes to a file in the directory and returns its path.
    std::string write(const std::string& name, const std::string& bytes) const;

private:
    std::string m_path;
};

std::string readFile(const std::string& path);

} // namespace korvane::test

#endif
