// CDrawAreaProcessor.cpp - named drawings kept shown on a live surface as they change.
#include <string>

#include "uidrawing.h"

// One named drawing, the hook on its change event and how far it has been shown.
struct CDrawAreaProcessor::Entry {
  explicit Entry(CDrawAreaProcessor* processor) : owner(processor), hook(this, &Entry::OnChanged) {}

  int OnChanged(int code, int*) {
    if (code == 6) shown = 0;  // cleared: start again from its first word
    else if (drawing.GetBatchDepth() == 0) owner->Flush(*this);
    return 0;
  }

  CDrawAreaProcessor* owner = nullptr;
  CDynamic drawing;
  SCC_ObjectEventHook<Entry, int> hook;
  std::size_t shown = 0;
};

CDrawAreaProcessor::CDrawAreaProcessor(UI_DrawArea* live) : live_(live) {}

CDrawAreaProcessor::~CDrawAreaProcessor() = default;

CDynamic* CDrawAreaProcessor::GetDrawing(const char* name) {
  const std::string key = name ? name : "";
  std::unique_ptr<Entry>& slot = drawings_[key];
  if (!slot) {
    slot = std::make_unique<Entry>(this);
    slot->drawing.SetLiveTarget(this);
    slot->hook.HookEvent(slot->drawing.GetChangeEvent());
  }
  return &slot->drawing;
}

CDynamic* CDrawAreaProcessor::FindDrawing(const char* name) const {
  const auto it = drawings_.find(name ? name : "");
  return it == drawings_.end() ? nullptr : &it->second->drawing;
}

CDynamic* CDrawAreaProcessor::Attach(const char* name, UI_DrawArea& area) {
  CDynamic* drawing = GetDrawing(name);
  area.AttachDrawing(drawing);
  return drawing;
}

int CDrawAreaProcessor::RemoveDrawing(const char* name) {
  return drawings_.erase(name ? name : "") ? 1 : 0;
}

std::vector<std::string> CDrawAreaProcessor::GetNames() const {
  std::vector<std::string> names;
  names.reserve(drawings_.size());
  for (const auto& [name, entry] : drawings_) names.push_back(name);
  return names;
}

std::size_t CDrawAreaProcessor::GetShown(const char* name) const {
  const auto it = drawings_.find(name ? name : "");
  return it == drawings_.end() ? 0 : it->second->shown;
}

CDrawAreaProcessor::Entry* CDrawAreaProcessor::FindEntry(const CDynamic* drawing) const {
  for (const auto& [name, entry] : drawings_)
    if (&entry->drawing == drawing) return entry.get();
  return nullptr;
}

void CDrawAreaProcessor::Flush(Entry& entry) {
  const CDynamic& d = entry.drawing;
  if (!live_ || entry.shown >= d.GetCount()) return;
  // Text commands were drawn on the live surface as they were recorded.
  live_->StartBatchDraw(1);
  const UI_PlayResult result = UI_DrawingPlayer::Play(d.GetWords(), d.GetCount(), *live_, entry.shown,
                                                       UI_DrawingPlayer::kSkipText);
  live_->EndBatchDraw();
  // A stream stopped early keeps its place, so the bad command is not retried on every
  // append; it is reported through GetLastFailure.
  entry.shown = result.IsComplete() ? result.position : d.GetCount();
  if (!result.IsComplete()) lastFailure_ = result;
}

UI_PlayResult CDrawAreaProcessor::Replay(const char* name) {
  CDynamic* d = FindDrawing(name);
  if (!d || !live_) return {};
  live_->StartBatchDraw(1);
  UI_PlayResult result = d->Play(*live_);
  live_->EndBatchDraw();
  if (Entry* e = FindEntry(d)) e->shown = d->GetCount();
  return result;
}

void CDrawAreaProcessor::RedrawDrawing(UI_DrawAreaImpl* impl, SYS_Box*, int) {
  Entry* entry = FindEntry(dynamic_cast<CDynamic*>(impl));
  // Called before the depth drops: depth 1 is the outermost batch closing.
  if (entry && entry->drawing.GetBatchDepth() <= 1) Flush(*entry);
}

SYS_Box CDrawAreaProcessor::DrawXorText(const char* text, int h, int v, SYS_Box box, int redraw) {
  return live_ ? live_->DrawXorText(text, h, v, box, redraw) : SYS_Box();
}
SYS_Box CDrawAreaProcessor::DrawXorText(const char* text, int h, int v, long x, long y,
                                        int redraw) {
  return live_ ? live_->DrawXorText(text, h, v, x, y, redraw) : SYS_Box();
}
SYS_Box CDrawAreaProcessor::DrawReplaceText(const char* text, int h, int v, long x, long y,
                                            int redraw) {
  return live_ ? live_->DrawReplaceText(text, h, v, x, y, redraw) : SYS_Box();
}
