#pragma once

#include "ControlValues.h"
#include "ImageSource.h"
#include "StoredControl.h"

#include <QList>

#include <array>

namespace kelvara {

// The two key layouts of the stored controls: config.cfg and .kelvara project files.
enum class FileLayout { Settings, Project };

// What a settings or project file holds once read: every value converted as the file format
// says, not yet limited by the controls.
//
// controls is in the load order, which the window must keep because every setter runs the
// control's slot. For a settings file:
//   1. OverlayScaleT2, OverlayScaleDWI, OverlayScaleADC ("T2Scale", "DWIScale", "ADCScale");
//   then the analysis controls (A). For a project file:
//   1. OverlayScaleT2, OverlayScaleDWI, OverlayScaleADC ("T2"/"DWI"/"ADC" / "Scale");
//   2. HCells, VCells, horizontalSlider, verticalSlider ("AOI" / HCells, VCells, HPos, VPos);
//   then the analysis controls (A).
// (A) the analysis controls:
//   a. T2FFTTreshXMin, XMax, YMin, YMax, then the same for DWI, then for ADC;
//   b. T2FFTFilterComboBox, DWIFFTFilterComboBox, ADCFFTFilterComboBox; then
//      T2FFTCutoffSpinBox, DWI.., ADC..; then T2FFTCutoffSpinBox2, DWI.., ADC..;
//   c. DWI_IntervalLeft, DWI_IntervalRight, DWIBinMaskInputImgCombo,
//      BinMaskDWIAutoCorrectInterval, BinMaskDWIAutoCorrectBaseCombo, BinMaskDWIAutoCorrectFactor;
//   d. ADC_IntervalLeft, ADC_IntervalRight, ADCBinMaskInputImgCombo,
//      BinMaskADCAutoCorrectInterval, BinMaskADCAutoCorrectFactor, BinMaskADCAutoCorrectBaseCombo
//      (factor before base, the reverse of DWI);
//   e. T2FilterShapeComboBox, T2ApproachComboBox, T2RectDimX, T2RectDimY, T2CircleRad,
//      T2SymInverted, T2SymInputImgCombo; the same for DWI, then for ADC;
//   f. ResultMaskIntervalMin, ResultMaskIntervalMax, ResultAutoCorrectInterval,
//      ResultAutoCorrectBaseCombo.
//
// A window load is then, for a settings file:
//   1. for each entry of controls, in order, the setter of the control named objectName
//      (by kind) with number, integer or checked;
//   2. the re-application of the overlay scales, AOI size, engine size and AOI position;
//   3. the solution list cleared and refilled from program (text, data under role 256).
// A project load first calls loadT2Image(images[0].path, images[0].kind), then the DWI and
// ADC loaders, and continues with the same three steps.
struct StoredFile
{
    std::array<ImageSource, 3> images; // project files only, by Modality; empty otherwise
    QList<StoredControl> controls;
    QList<ProgramItem> program;

    // The control values the window holds after loading this file into controls that held
    // `before`: every stored control limited as its widget limits it, the solution list
    // replaced, everything not stored kept.
    ControlValues applyTo(ControlValues before) const;

    // The stored control with this objectName, or nullptr.
    const StoredControl* find(const QString& objectName) const;
};

} // namespace kelvara
