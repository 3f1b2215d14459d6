// Keys with numbers or words, out of YAML, JSON or OpenCV's XML.
//
// Numbers come as a matrix, whether they stand as one number, a list, a list of lists, or a block of rows, cols and
// data. Keys of a block inside have its key and a dot in front. Case and underscores in keys do not count.
#pragma once

#include <opencv2/core.hpp>

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace YAML {
class Node;
}

namespace kestrova::app {

class KeyedFile
{
public:
    /** Throws AppError that names the file, and the line where it stops being readable. */
    explicit KeyedFile(const std::filesystem::path& rFile);

    const std::string& name() const { return m_name; }
    bool has(const std::string& rKey) const { return find(rKey) != nullptr; }

    /**
     * Throws AppError that names file, line and key when it is missing, of another shape (0 takes any number of rows
     * or columns) or holds what is no number.
     */
    cv::Mat1d matrix(const std::string& rKey, int nRows, int nCols) const;
    std::optional<std::string> word(const std::string& rKey) const;

    [[noreturn]] void fail(const std::string& rKey, const std::string& rWhat) const;

private:
    struct Entry
    {
        std::string m_key; // as it stands in the file
        int m_nLine = 0;   // from 1; 0 where it is not known
        cv::Mat1d m_values;
        std::string m_word;
        std::string m_problem; // why it is no matrix
    };

    const Entry* find(const std::string& rKey) const;
    void readYaml(const std::string& rText);
    void readXml(const std::string& rText);
    void add(const std::string& rKey, Entry entry);
    void addYaml(const std::string& rKey, const YAML::Node& rNode);
    void addXml(const std::string& rKey, const cv::FileNode& rNode);

    std::string m_name;
    std::size_t m_nKeys = 0;                // seen, with those of aliases
    std::map<std::string, Entry> m_entries; // by key in small letters without underscores
};

} // namespace kestrova::app
