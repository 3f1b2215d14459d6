// The one pattern of the settings functions: find the active context, test, store or read one field.
#pragma once

#include "api/MultiContext.h"
#include "context/settings.h"

#include <type_traits>
#include <utility>

namespace kestrova {

/** Does the one thing that a function is about, on the active context. */
template<class Use>
KestrovaError onActiveContext(KestrovaContext context, Use use)
{
    StereoContext* const pContext = getActiveContext(context);
    return pContext != nullptr ? use(*pContext) : KestrovaErrorInvalidContext;
}

/** For members of StereoContext that answer whether they took a value. */
inline KestrovaError settingResult(bool bAccepted)
{
    return bAccepted ? KestrovaErrorOk : KestrovaErrorInvalidSetting;
}

template<class T, class Holder>
KestrovaError storeField(KestrovaContext context, T Holder::*pField, std::type_identity_t<T> value, bool bInRange)
{
    return onActiveContext(context, [&](StereoContext& rContext) {
        if (bInRange) {
            rContext.*pField = value;
        }
        return settingResult(bInRange);
    });
}

/** For a field of the table: any number but 0 is on, bytes are the low 8 bits, other numbers must be in their range. */
template<auto pField, class Given>
KestrovaError storeSetting(KestrovaContext context, Given given)
{
    constexpr const Setting& rSetting = settingOf(pField);
    using Field = std::remove_cvref_t<decltype(std::declval<StereoContext&>().*pField)>;
    if constexpr (std::is_same_v<Field, bool>) {
        return storeField(context, pField, given != 0, true);
    } else if constexpr (sizeof(Field) == 1) {
        return storeField(context, pField, static_cast<Field>(given), true);
    } else {
        return storeField(context, pField, given, rSetting.m_range.holds(given));
    }
}

template<class T, class Holder, class Out>
KestrovaError readSetting(KestrovaContext context, T Holder::*pField, Out* pOut)
{
    return onActiveContext(context, [&](const StereoContext& rContext) {
        *pOut = static_cast<Out>(rContext.*pField);
        return KestrovaErrorOk;
    });
}

template<class T, class Holder, class Out>
KestrovaError readPair(KestrovaContext context, T Holder::*pFirst, T Holder::*pSecond, Out* pFirstOut, Out* pSecondOut)
{
    const KestrovaError eError = readSetting(context, pFirst, pFirstOut);
    return eError == KestrovaErrorOk ? readSetting(context, pSecond, pSecondOut) : eError;
}

} // namespace kestrova
