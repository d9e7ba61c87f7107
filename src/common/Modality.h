#pragma once

namespace kelvara {

// The three images of a case, always processed in this order.
enum class Modality { T2 = 0, DWI = 1, ADC = 2 };

constexpr Modality kModalities[] = {Modality::T2, Modality::DWI, Modality::ADC};

inline const char* modalityName(Modality m)
{
    switch (m) {
    case Modality::T2: return "T2";
    case Modality::DWI: return "DWI";
    case Modality::ADC: return "ADC";
    }
    return "";
}

} // namespace kelvara
