// SPDX-License-Identifier: MIT
#include "ui/desktop/widgets/art.h"

#include <wx/bitmap.h>
#include <wx/icon.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "ui/desktop/widgets/art_data.h"

namespace relaybird::desktop {
namespace {

constexpr std::string_view kProgramIcon = "relaybird";
/// No window manager shows a larger one, and the X server would keep it.
constexpr int kLargestIcon = 128;

wxBitmap decoded(const ArtImage& image) {
  return wxBitmap::NewFromPNGData(image.bytes.data(), image.bytes.size());
}

/// Decodes a size when a screen asks for it: the others cost no time and no memory.
class ArtBundle : public wxBitmapBundleImpl {
 public:
  /// The smallest of the images, of which there is at least one, counts as that of 100 %.
  explicit ArtBundle(std::vector<const ArtImage*> images) : images_(std::move(images)) {}

  wxSize GetDefaultSize() const override { return size(*images_.front()); }
  wxSize GetPreferredBitmapSizeAtScale(double scale) const override {
    return size(nearest(wxRound(GetDefaultSize().GetWidth() * scale)));
  }
  wxBitmap GetBitmap(const wxSize& wanted) override {
    const ArtImage& image = nearest(wanted.GetWidth());
    if (given_.IsOk() && given_.GetSize() == wanted) {
      return given_;
    }
    given_ = decoded(image);
    if (given_.GetSize() != wanted) {
      wxBitmap::Rescale(given_, wanted);
    }
    return given_;
  }

 private:
  static wxSize size(const ArtImage& image) { return {image.size, image.size}; }
  /// The smallest that is wide enough, else the largest.
  const ArtImage& nearest(int width) const {
    const auto found = std::find_if(images_.begin(), images_.end(), [width](const ArtImage* image) {
      return image->size >= width;
    });
    return found != images_.end() ? **found : *images_.back();
  }

  std::vector<const ArtImage*> images_;
  wxBitmap given_;
};

}  // namespace

wxBitmapBundle artBitmap(const std::string& name, int width) {
  std::vector<const ArtImage*> images;
  for (const ArtImage& image : artImages()) {
    if (image.name == name && image.size >= width) {
      images.push_back(&image);
    }
  }
  if (images.empty()) {
    return {};
  }
  // The bundle counts its users and goes with the last one, which the analyser cannot see.
  auto* bundle = new ArtBundle(std::move(images));
  return wxBitmapBundle::FromImpl(bundle);  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks)
}

wxIconBundle programIcons() {
  wxIconBundle icons;
  for (const ArtImage& image : artImages()) {
    if (image.name == kProgramIcon && image.size <= kLargestIcon) {
      wxIcon icon;
      icon.CopyFromBitmap(decoded(image));
      icons.AddIcon(icon);
    }
  }
  return icons;
}

}  // namespace relaybird::desktop
