#include "cameras/RigBuilder.h"

namespace kestrova::app {

double Rig::worstFit() const
{
    double dWorst = 0.0;
    for (const auto& [eCamera, rMaps] : m_maps)
        dWorst = std::max(dWorst, rMaps.largestError());
    return dWorst;
}

std::string Rig::text() const
{
    std::string text = calibrationText(m_description);
    for (const Rig& rFurther : m_further)
        text += rFurther.text();
    return text;
}

CameraSet exchanged(const CameraSet& rPair)
{
    const auto& [eOther, rOther] = *rPair.rbegin();
    const cv::Matx33d back = rOther.m_R.t();
    return {{KestrovaCamRight, {rOther.m_model, cv::Matx33d::eye(), {}}},
            {eOther, {rPair.at(KestrovaCamRight).m_model, back, -(back * rOther.m_T)}}};
}

static CalibrationDescription describe(const Rig& rRig, const RigWishes& rWishes)
{
    CalibrationDescription description;
    description.m_canvas = rRig.m_plan.m_canvas;
    description.m_dFocal = rRig.m_plan.m_dFocal;
    description.m_centre = rRig.m_plan.m_centre;
    description.m_dBaseline = rRig.m_plan.m_dBaseline;
    const cv::Vec2i disparity = rWishes.m_disparity.value_or(disparityOf(
        rWishes.m_depth, rRig.m_plan.m_dFocal * rRig.m_plan.m_dBaseline, {0, rRig.m_plan.m_canvas.width / 10}));
    description.m_nMinDisparity = disparity[0];
    description.m_nMaxDisparity = disparity[1];
    description.m_nSerialNumber = rWishes.m_nSerialNumber;
    description.m_note = rWishes.m_note;
    for (const auto& [eCamera, rMaps] : rRig.m_maps) {
        const auto gain = rWishes.m_gains.find(eCamera);
        description.m_cameras[eCamera] = {rMaps.m_rawFromRectified, rMaps.m_rectifiedFromRaw,
                                          gain == rWishes.m_gains.end() ? 1.0 : gain->second};
    }
    return description;
}

Rig buildRig(const CameraSet& rSet, const RigWishes& rWishes)
{
    Rig rig;
    rig.m_set = rSet;
    const cv::Size raw = rSet.at(KestrovaCamRight).m_model.m_size;
    rig.m_plan = planRectification(rSet, rWishes.m_canvas.value_or(raw), rWishes.m_dAlpha);
    for (const auto& [eCamera, rCamera] : rSet)
        rig.m_maps[eCamera] = fitCameraMaps(rCamera.m_model, rig.m_plan.m_rotations.at(eCamera), rig.m_plan);
    rig.m_description = describe(rig, rWishes);
    return rig;
}

} // namespace kestrova::app
