// uipalette.h - a draw area's palette as seen by its clients: the accessor that re-publishes
// palette changes, the index-to-colour convertor and the texture and brightness interface.
#pragma once

#include "brixexport.h"
#include "sccevent.h"
#include "sccvariant.h"
#include "sysstring.h"
#include "uidrawarea.h"

/// Access to a draw area's palette. When the area is also an event node (a surface that
/// raises palette notifications derives from SCC_Notifier as well), the accessor joins that
/// event's ring just before the area's node and re-raises every notification it hears, with
/// the same code and data, on its own change notifier.
///
/// The draw area is not owned and must outlive the accessor or be replaced first.
class BRIX_API UI_PaletteAccessor : public SCC_EventNode<int> {
 public:
  explicit UI_PaletteAccessor(UI_DrawArea* area = nullptr);
  UI_PaletteAccessor(const UI_PaletteAccessor&) = delete;
  UI_PaletteAccessor& operator=(const UI_PaletteAccessor&) = delete;
  /// Leaves the area's event ring; the change notifier goes with the accessor.
  ~UI_PaletteAccessor() override;

  /// Leaves the old area's ring and joins the new one's (when it is an event node).
  void SetDrawArea(UI_DrawArea* area);
  UI_DrawArea* GetDrawArea() const { return area_; }

  /// Raises `code` and `data` on the change notifier; answers 0.
  int OnNotification(int code, int* data) override;
  /// The notifier clients subscribe to for palette changes.
  SCC_Notifier* GetChangeEvent() { return &changed_; }

  // Forwarded to the draw area; 0 or nothing without one.
  long GetDefaultPaletteColors(unsigned long* out) const;
  long GetCurrentPaletteColors(unsigned long* out) const;
  /// Only indices 0 ... 65535 are asked; any other gives 0.
  unsigned long GetCurrentPaletteColorRGB(int index) const;
  int GetCurrentPaletteColorIdx(unsigned long rgb) const;
  void SetCurrentPaletteColors(unsigned long* colors);
  /// Only indices 0 ... 65535 are forwarded; any other does nothing.
  void SetCurrentPaletteColor(int index, unsigned long rgb);
  void ResetPaletteColors();

 private:
  UI_DrawArea* area_ = nullptr;
  SCC_Notifier changed_;
};

/// Turns a palette index into its RGB value (0x00BBGGRR) through the draw area a derived
/// class supplies with ObtainDrawArea. Direction 1, and any value without a draw area, pass
/// through unchanged.
class BRIX_API UI_PaletteColorConvertor : public SCC_Convertor {
 public:
  UI_PaletteColorConvertor() = default;
  ~UI_PaletteColorConvertor() override;

  SCC_Variant Convert(SCC_Variant value, int direction) override;

 protected:
  /// The draw area whose palette converts; the base has none.
  virtual UI_DrawArea* ObtainDrawArea();
};

/// What a board view asks of whoever provides its layer textures and brightness. Layers
/// are numbered as the host numbers them; brightness is 0 (dark) ... 100 (full).
class BRIX_API UI_ITextureBrightnessAccessor {
 public:
  virtual ~UI_ITextureBrightnessAccessor();

  /// Number of textures on offer.
  virtual int GetTextureCount() const = 0;
  /// The display name of texture `texture`.
  virtual SYS_String GetTextureName(int texture) const = 0;
  /// The texture a layer is drawn with (-1: none).
  virtual int GetLayerTexture(int layer) const = 0;
  virtual void SetLayerTexture(int layer, int texture) = 0;
  /// Whether textures are drawn at all.
  virtual int IsTextureEnabled() const = 0;
  virtual void EnableTexture(int enable) = 0;
  /// World units per texture repetition.
  virtual double GetTextureScale() const = 0;
  virtual void SetTextureScale(double scale) = 0;
  /// A layer's brightness.
  virtual int GetLayerBrightness(int layer) const = 0;
  virtual void SetLayerBrightness(int layer, int brightness) = 0;
  /// The brightness of layers that have none of their own.
  virtual int GetDefaultBrightness() const = 0;
  /// Every layer back to the default brightness.
  virtual void ResetBrightness() = 0;
};
