// Builds small valid calibration texts for tests, from named settings and coordinate maps.
//
// A fresh text is a pair or an L set with identity maps; tests change what they are about. text() is the memory form
// (a std::string ends with the NUL that the loader wants), TempFile the form on disk.
#pragma once

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace kestrova::test {

enum class Shape
{
    Horizontal,
    Vertical,
    L
};

/** One coordinate of a map, of a normalised row and column. Products of affine functions are met exactly. */
using Coordinate = std::function<double(double, double)>;

struct MapText
{
    Coordinate row = [](double dRow, double) { return dRow; };
    Coordinate col = [](double, double dCol) { return dCol; };
};

struct CameraText
{
    int nId;
    std::string position;
    std::string channel;
    double dGain = 1.0;
    std::string extra{}; // whole lines, each with its newline
    MapText forward{};   // rectified to raw
    MapText inverse{};   // raw to rectified
};

/** Clamped uniform cubic knots on 0 to 1 for n coefficients. */
inline std::vector<double> clampedKnots(int n)
{
    std::vector<double> knots(static_cast<std::size_t>(n) + 4);
    for (int i = 0; i < n + 4; ++i) {
        knots[static_cast<std::size_t>(i)] = std::clamp((i - 3) / (n - 3.0), 0.0, 1.0);
    }
    return knots;
}

/** Coefficients, in the order of the text, of the surface that takes the map's values at the knot averages. */
inline std::vector<double> surfaceCoefs(const Coordinate& rMap, int n)
{
    const std::vector<double> knots = clampedKnots(n);
    const auto average = [&](int i) { return (knots[i + 1] + knots[i + 2] + knots[i + 3]) / 3; };
    std::vector<double> coefs;
    for (int nCol = 0; nCol < n; ++nCol) {
        for (int nRow = 0; nRow < n; ++nRow) {
            coefs.push_back(rMap(average(nRow), average(nCol)));
        }
    }
    return coefs;
}

class CalibrationText
{
public:
    std::vector<std::pair<std::string, std::string>> settings; // keyword and values, in order
    std::vector<CameraText> cameras;
    int nCoefs = 4;

    explicit CalibrationText(Shape eShape)
    {
        static const char* const s_apszNames[][2] = {
            {"PEMBERLOW", "2CameraHorizontal"}, {"TANDRELL", "2CameraVertical"}, {"HALVORINE", "L"}};
        const auto& [pszProduct, pszConfiguration] = s_apszNames[static_cast<int>(eShape)];
        settings = {{"Version", "\"Kestrova 3.0\""},
                    {"Product", pszProduct},
                    {"SerialNumber", "4711"},
                    {"FocalLength", "0.75 1"},
                    {"Baseline", "0.12"},
                    {"CameraConfiguration", pszConfiguration},
                    {"Disparity", "0 32"}};
        cameras = {{0, "0 0 0", "RED"}, {1, eShape == Shape::Horizontal ? "-1 0 0" : "0 -1 0", "GREEN"}};
        if (eShape == Shape::L) {
            cameras.push_back({2, "-1 0 0", "BLUE"});
        }
    }

    /** Replaces the setting of exactly that name, or adds it at the end. */
    CalibrationText& set(const std::string& rKey, const std::string& rValue)
    {
        const auto it = std::find_if(settings.begin(), settings.end(), [&](auto& r) { return r.first == rKey; });
        if (it != settings.end()) {
            it->second = rValue;
        } else {
            settings.emplace_back(rKey, rValue);
        }
        return *this;
    }

    [[nodiscard]] std::string text() const
    {
        std::ostringstream out;
        out.precision(17);
        for (const auto& [key, value] : settings) {
            out << key << ' ' << value << '\n';
        }
        for (const CameraText& rCamera : cameras) {
            const int nWarp = 10 * rCamera.nId;
            out << "BeginCamera\nID " << rCamera.nId << "\nGain " << rCamera.dGain << "\nPosition " << rCamera.position
                << "\nChannel " << rCamera.channel << '\n'
                << rCamera.extra << "Warp " << nWarp << ' ' << nWarp + 1 << "\nIwarp " << nWarp + 2 << ' ' << nWarp + 3
                << "\nEndCamera\n";
        }
        for (const CameraText& rCamera : cameras) {
            writeWarp(out, 10 * rCamera.nId, rCamera.forward.col);
            writeWarp(out, 10 * rCamera.nId + 1, rCamera.forward.row);
            writeWarp(out, 10 * rCamera.nId + 2, rCamera.inverse.col);
            writeWarp(out, 10 * rCamera.nId + 3, rCamera.inverse.row);
        }
        return out.str();
    }

private:
    void writeWarp(std::ostream& rOut, int nId, const Coordinate& rMap) const
    {
        const auto list = [&](const char* pszKey, const std::vector<double>& rValues) {
            rOut << pszKey;
            for (const double d : rValues) {
                rOut << ' ' << d;
            }
            rOut << '\n';
        };
        rOut << "BeginWarp\nID " << nId << "\nNumberKnots " << nCoefs + 4 << '\n';
        list("KnotsX", clampedKnots(nCoefs));
        list("KnotsY", clampedKnots(nCoefs));
        rOut << "NumberCoefs " << nCoefs << ' ' << nCoefs << '\n';
        list("Coefs", surfaceCoefs(rMap, nCoefs));
        rOut << "EndWarp\n";
    }
};

inline std::string replaced(std::string text, const std::string& rFrom, const std::string& rTo)
{
    for (std::size_t u = 0; (u = text.find(rFrom, u)) != std::string::npos; u += rTo.size()) {
        text.replace(u, rFrom.size(), rTo);
    }
    return text;
}

/** A file that lives as long as the object, with a name of its own per process and object. */
class TempFile
{
public:
    explicit TempFile(const std::string& rContent = "", const std::string& rSuffix = "")
    {
        static int nCount = 0;
        m_stem = testing::TempDir() + "kestrova_" + std::to_string(::getpid()) + "_" + std::to_string(++nCount);
        m_path = m_stem + rSuffix;
        std::ofstream(m_path, std::ios::binary) << rContent;
    }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
    ~TempFile() { std::remove(m_path.c_str()); }
    [[nodiscard]] const char* path() const { return m_path.c_str(); }
    [[nodiscard]] const char* stem() const { return m_stem.c_str(); }
    [[nodiscard]] std::string content() const
    {
        std::ostringstream bytes;
        bytes << std::ifstream(m_path, std::ios::binary).rdbuf();
        return bytes.str();
    }

private:
    std::string m_stem;
    std::string m_path;
};

} // namespace kestrova::test
