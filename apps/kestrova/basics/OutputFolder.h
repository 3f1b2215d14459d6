// A folder of results that appears whole or not at all.
//
// Files are written beside their place and moved there by commit; without it they go away with the object.
#pragma once

#include <filesystem>
#include <vector>

namespace kestrova::app {

class OutputFolder
{
public:
    /** Throws AppError when the place cannot be a folder of ours. */
    explicit OutputFolder(std::filesystem::path target);
    ~OutputFolder();
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;

    std::filesystem::path file(const std::string& rName) const { return m_partial / rName; }

    /**
     * Puts all files in place. Into a folder that exists they are moved one by one and replace files of the same name.
     */
    void commit();

private:
    std::filesystem::path m_target;
    std::filesystem::path m_partial;
    std::vector<std::filesystem::path> m_newParents; // did not exist before, innermost first
};

} // namespace kestrova::app
