#include "formats/KeyedFile.h"

#include "basics/AppError.h"
#include "basics/InputFile.h"
#include "basics/Line.h"

#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>

namespace kestrova::app {

namespace {

// A calibration has some dozens of keys, a few levels deep; what names itself or its parts again and again has no end.
constexpr std::size_t sk_nMostKeys = 10'000;
constexpr std::ptrdiff_t sk_nDeepest = 32;

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char uc) { return static_cast<char>(std::tolower(uc)); });
    return text;
}

std::string plain(std::string key)
{
    std::erase(key, '_');
    return lower(key);
}

// Not-a-number and infinity are numbers here, so that the complaint can say what they are.
std::optional<double> numberOf(const std::string& rWord)
{
    std::string word = lower(rWord);
    word.erase(0, word.starts_with('+') ? 1 : 0);
    if (word == ".nan" || word == "-.nan" || word == "nan" || word == "-nan") {
        return std::numeric_limits<double>::quiet_NaN();
    }
    if (word == ".inf" || word == "-.inf" || word == "inf" || word == "-inf") {
        return std::numeric_limits<double>::infinity();
    }
    double dValue = 0.0;
    const auto [pEnd, error] = std::from_chars(word.data(), word.data() + word.size(), dValue);
    if (error != std::errc() || word.empty() || (*pEnd != '\0' && std::string(pEnd) != ".")) {
        return std::nullopt;
    }
    return dValue;
}

} // namespace

KeyedFile::KeyedFile(const std::filesystem::path& rFile) : m_name(rFile.string())
{
    checkLength(rFile, sk_nLongestText);
    std::ifstream in(rFile, std::ios::binary);
    if (!in || std::filesystem::is_directory(rFile)) {
        throw AppError(m_name + ": cannot be read; is the path right?", ExitStatus::File);
    }
    std::string text(sk_nLongestText, '\0');
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(in.gcount()));
    const std::size_t nFirst = text.find_first_not_of(" \t\r\n");
    if (nFirst == std::string::npos || text.size() == sk_nLongestText) {
        throw AppError(m_name + (nFirst == std::string::npos ? ": is empty" : ": is too long for a calibration"),
                       ExitStatus::Content);
    }
    if (text[nFirst] == '<') {
        readXml(text);
    } else {
        readYaml(text);
    }
    if (m_entries.empty()) {
        throw AppError(m_name + ": has no keys with values; is it a calibration?", ExitStatus::Content);
    }
}

// ---- YAML ----

void KeyedFile::readYaml(const std::string& rText)
{
    std::string text = rText;
    if (text.starts_with("%YAML:")) { // OpenCV's own form of the directive; the line stays, for the count
        text[0] = '#';
    }
    try {
        addYaml("", YAML::Load(text));
    } catch (const YAML::Exception& rError) {
        throw AppError(m_name + line(": line %d: cannot be read as YAML (%s); is the file complete?",
                                     rError.mark.line + 1, rError.msg.c_str()),
                       ExitStatus::Content);
    }
}

namespace {

void appendNumbers(const YAML::Node& rNode, std::vector<double>& rNumbers, std::string& rProblem)
{
    for (const YAML::Node& rItem : rNode) {
        const auto number = rItem.IsScalar() ? numberOf(rItem.Scalar()) : std::nullopt;
        if (!number && rProblem.empty()) {
            rProblem = rItem.IsScalar() ? "'" + rItem.Scalar() + "' is not a number" : "a value is not a number";
        }
        rNumbers.push_back(number.value_or(0.0));
    }
}

cv::Mat1d shaped(const std::vector<double>& rNumbers, int nRows, int nCols, std::string& rProblem)
{
    if (rNumbers.empty() || nRows < 1 || nCols < 1 ||
        static_cast<double>(nRows) * nCols != static_cast<double>(rNumbers.size())) {
        if (rProblem.empty()) {
            rProblem = line("%zu numbers do not fill %d rows of %d", rNumbers.size(), nRows, nCols);
        }
        return {};
    }
    return cv::Mat1d(rNumbers, true).reshape(1, nRows);
}

} // namespace

void KeyedFile::addYaml(const std::string& rKey, const YAML::Node& rNode)
{
    if (++m_nKeys > sk_nMostKeys || std::count(rKey.begin(), rKey.end(), '.') > sk_nDeepest) {
        throw AppError(m_name +
                           line(": line %d: too many keys, or too deep; is it a calibration?", rNode.Mark().line + 1),
                       ExitStatus::Content);
    }
    Entry entry{rKey, rNode.Mark().line + 1, {}, {}, {}};
    std::vector<double> numbers;
    if (rNode.IsMap() && rNode["rows"] && rNode["cols"] && rNode["data"]) {
        appendNumbers(rNode["data"], numbers, entry.m_problem);
        const auto count = [&](const char* pszKey) { return rNode[pszKey].as<int>(0); };
        entry.m_values = shaped(numbers, count("rows"), count("cols"), entry.m_problem);
    } else if (rNode.IsMap()) {
        for (const auto& rItem : rNode) {
            if (rItem.first.IsScalar()) {
                addYaml(rKey.empty() ? rItem.first.Scalar() : rKey + "." + rItem.first.Scalar(), rItem.second);
            }
        }
        return;
    } else if (rNode.IsSequence() && rNode.size() > 0 && rNode[0].IsSequence()) {
        for (const YAML::Node& rRow : rNode) {
            appendNumbers(rRow, numbers, entry.m_problem);
        }
        entry.m_values =
            shaped(numbers, static_cast<int>(rNode.size()), static_cast<int>(rNode[0].size()), entry.m_problem);
    } else if (rNode.IsSequence()) {
        appendNumbers(rNode, numbers, entry.m_problem);
        entry.m_values = shaped(numbers, 1, static_cast<int>(numbers.size()), entry.m_problem);
    } else if (rNode.IsScalar()) {
        entry.m_word = rNode.Scalar();
        if (const auto number = numberOf(entry.m_word)) {
            entry.m_values = cv::Mat1d(1, 1, *number);
        } else {
            entry.m_problem = "'" + entry.m_word + "' is not a number";
        }
    }
    add(rKey, std::move(entry));
}

// ---- XML ----

namespace {

// The parser calls itself for each level.
bool isDeep(const std::string& rXml)
{
    std::ptrdiff_t nDepth = 0;
    for (std::size_t n = 0; n + 1 < rXml.size() && nDepth <= sk_nDeepest; ++n) {
        if (rXml[n] == '<') {
            nDepth += rXml[n + 1] == '/' ? -1 : rXml[n + 1] == '?' || rXml[n + 1] == '!' ? 0 : 1;
        } else if (rXml[n] == '/' && rXml[n + 1] == '>') {
            --nDepth;
        }
    }
    return nDepth > sk_nDeepest;
}

} // namespace

void KeyedFile::readXml(const std::string& rText)
{
    if (isDeep(rText)) {
        throw AppError(m_name + ": blocks in blocks, too deep; is it a calibration?", ExitStatus::Content);
    }
    try {
        const cv::FileStorage storage(m_name, cv::FileStorage::READ);
        const cv::FileNode root = storage.root();
        for (const std::string& rKey : root.keys()) {
            addXml(rKey, root[rKey]);
        }
    } catch (const cv::Exception& rError) {
        throw AppError(m_name + ": cannot be read as OpenCV's XML (" + rError.err + "); is the file complete?",
                       ExitStatus::Content);
    }
}

void KeyedFile::addXml(const std::string& rKey, const cv::FileNode& rNode)
{
    Entry entry{rKey, 0, {}, {}, {}};
    if (rNode.isString()) {
        entry.m_word = rNode.string();
        entry.m_problem = "'" + entry.m_word + "' is not a number";
    } else if (rNode.isReal() || rNode.isInt()) {
        entry.m_values = cv::Mat1d(1, 1, rNode.real());
    } else {
        const bool bMatrix = rNode.isMap();
        std::vector<double> numbers;
        for (const cv::FileNode& rItem : bMatrix ? rNode["data"] : rNode) {
            if (!rItem.isReal() && !rItem.isInt() && entry.m_problem.empty()) {
                entry.m_problem = "a value is not a number";
            }
            numbers.push_back(rItem.isReal() || rItem.isInt() ? rItem.real() : 0.0);
        }
        const auto count = [&](const char* pszKey) {
            return rNode[pszKey].isInt() ? static_cast<int>(rNode[pszKey]) : 0;
        };
        entry.m_values = shaped(numbers, bMatrix ? count("rows") : 1,
                                bMatrix ? count("cols") : static_cast<int>(numbers.size()), entry.m_problem);
    }
    add(rKey, std::move(entry));
}

// ---- values ----

void KeyedFile::add(const std::string& rKey, Entry entry)
{
    m_entries.emplace(plain(rKey), std::move(entry));
}

const KeyedFile::Entry* KeyedFile::find(const std::string& rKey) const
{
    const auto found = m_entries.find(plain(rKey));
    return found == m_entries.end() ? nullptr : &found->second;
}

void KeyedFile::fail(const std::string& rKey, const std::string& rWhat) const
{
    const Entry* pEntry = find(rKey);
    throw AppError(m_name + ": " + (pEntry && pEntry->m_nLine > 0 ? line("line %d: ", pEntry->m_nLine) : "") +
                       (pEntry ? pEntry->m_key : rKey) + ": " + rWhat,
                   ExitStatus::Content);
}

cv::Mat1d KeyedFile::matrix(const std::string& rKey, int nRows, int nCols) const
{
    const Entry* pEntry = find(rKey);
    if (!pEntry) {
        fail(rKey, "missing; write the calibration anew with the program that it comes from");
    }
    if (!pEntry->m_problem.empty()) {
        fail(rKey, pEntry->m_problem + "; is the file complete?");
    }
    const cv::Mat1d& rValues = pEntry->m_values;
    if (rValues.empty()) {
        fail(rKey, "has no value; is the file complete?");
    }
    if ((nRows > 0 && rValues.rows != nRows) || (nCols > 0 && rValues.cols != nCols)) {
        fail(rKey, line("is %d by %d, %s by %s is wanted", rValues.rows, rValues.cols,
                        nRows > 0 ? std::to_string(nRows).c_str() : "any",
                        nCols > 0 ? std::to_string(nCols).c_str() : "any"));
    }
    for (double dValue : rValues) {
        if (!std::isfinite(dValue)) {
            fail(rKey, "has a value that is no finite number; calibrate anew");
        }
    }
    return rValues;
}

std::optional<std::string> KeyedFile::word(const std::string& rKey) const
{
    const Entry* pEntry = find(rKey);
    return pEntry && !pEntry->m_word.empty() ? std::optional(pEntry->m_word) : std::nullopt;
}

} // namespace kestrova::app
