#include "formats/LensFit.h"

#include <opencv2/calib3d.hpp>

#include <algorithm>
#include <cmath>

namespace kestrova::app {

namespace {

constexpr int sk_nFixed = 7; // fx fy cx cy and the turn; distortion terms follow
constexpr int sk_nRounds = 60;

// Levenberg and Marquardt's way between the Newton step and the slope.
class Fitter
{
public:
    Fitter(const Points& rRays, const Points& rRaw, cv::Size raw, Lens eLens)
        : m_rRays(rRays), m_rRaw(rRaw), m_raw(raw), m_eLens(eLens)
    {}

    LensFit unpack(const cv::Mat1d& rValues) const
    {
        LensFit fit;
        fit.m_model.m_size = m_raw;
        fit.m_model.m_eLens = m_eLens;
        fit.m_model.m_cameraMatrix = {rValues(0), 0, rValues(2), 0, rValues(1), rValues(3), 0, 0, 1};
        fit.m_model.m_adDistortion.assign(rValues.begin() + sk_nFixed, rValues.end());
        cv::Rodrigues(cv::Vec3d(rValues(4), rValues(5), rValues(6)), fit.m_rotation);
        return fit;
    }

    cv::Mat1d misses(const cv::Mat1d& rValues) const
    {
        const LensFit fit = unpack(rValues);
        Points rays;
        for (const cv::Point2d& rRay : m_rRays) {
            const cv::Vec3d turned = fit.m_rotation.t() * cv::Vec3d(rRay.x, rRay.y, 1.0);
            const double dDepth = std::max(turned[2], 0.01);
            rays.emplace_back(turned[0] / dDepth, turned[1] / dDepth);
        }
        const Points pixels = projectRays(fit.m_model, rays);
        cv::Mat1d result(static_cast<int>(2 * pixels.size()), 1);
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            result(static_cast<int>(2 * i)) = m_rRaw[i].x - pixels[i].x;
            result(static_cast<int>(2 * i) + 1) = m_rRaw[i].y - pixels[i].y;
        }
        return result;
    }

    cv::Mat1d slopes(const cv::Mat1d& rValues) const
    {
        cv::Mat1d result;
        for (int i = 0; i < rValues.rows; ++i) {
            const double dStep = i < 4 ? 1e-3 : 1e-6;
            cv::Mat1d up = rValues.clone();
            cv::Mat1d down = rValues.clone();
            up(i) += dStep;
            down(i) -= dStep;
            const cv::Mat column = (misses(down) - misses(up)) / (2.0 * dStep);
            if (result.empty()) {
                result = cv::Mat1d(column.rows, rValues.rows);
            }
            column.copyTo(result.col(i));
        }
        return result;
    }

    void improve(cv::Mat1d& rValues) const
    {
        double dDamping = 1e-3;
        cv::Mat1d miss = misses(rValues);
        for (int nRound = 0; nRound < sk_nRounds && dDamping < 1e6; ++nRound) {
            const cv::Mat1d J = slopes(rValues);
            const cv::Mat JtJ = J.t() * J;
            const cv::Mat slope = J.t() * miss;
            const double dBefore = cv::norm(miss);
            for (; dDamping < 1e6; dDamping *= 10.0) {
                cv::Mat step;
                cv::solve(JtJ + dDamping * cv::Mat::diag(JtJ.diag()), slope, step, cv::DECOMP_SVD);
                const cv::Mat tried = rValues + step;
                const cv::Mat1d missed = misses(tried);
                if (cv::norm(missed) < dBefore) {
                    rValues = tried;
                    miss = missed;
                    dDamping = std::max(1e-12, dDamping / 10.0);
                    break;
                }
            }
            if (cv::norm(miss) > dBefore * (1.0 - 1e-7)) {
                return;
            }
        }
    }

private:
    const Points& m_rRays;
    const Points& m_rRaw;
    cv::Size m_raw;
    Lens m_eLens;
};

} // namespace

LensFit fitLens(const Points& rRays, const Points& rRaw, cv::Size raw, double dFocal, Lens eLens, std::size_t nTerms,
                const LensFit* pStart)
{
    cv::Mat1d values(sk_nFixed + static_cast<int>(nTerms), 1, 0.0);
    values(0) = values(1) = dFocal;
    values(2) = (raw.width - 1) / 2.0;
    values(3) = (raw.height - 1) / 2.0;
    if (pStart) {
        const cv::Matx33d& K = pStart->m_model.m_cameraMatrix;
        cv::Vec3d turn;
        cv::Rodrigues(pStart->m_rotation, turn);
        const double adFixed[sk_nFixed] = {K(0, 0), K(1, 1), K(0, 2), K(1, 2), turn[0], turn[1], turn[2]};
        std::copy(adFixed, adFixed + sk_nFixed, values.begin());
        const std::vector<double>& rTerms = pStart->m_model.m_adDistortion;
        std::copy_n(rTerms.begin(), std::min(rTerms.size(), nTerms), values.begin() + sk_nFixed);
    }
    const Fitter fitter(rRays, rRaw, raw, eLens);
    fitter.improve(values);
    LensFit fit = fitter.unpack(values);
    const cv::Mat1d miss = fitter.misses(values);
    fit.m_dRms = std::sqrt(miss.dot(miss) / static_cast<double>(rRays.size()));
    fit.m_dWorst = 0.0;
    for (int i = 0; i < miss.rows; i += 2) {
        fit.m_dWorst = std::max(fit.m_dWorst, std::hypot(miss(i), miss(i + 1)));
    }
    return fit;
}

} // namespace kestrova::app
