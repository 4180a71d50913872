// UI_ScreenCoordConverter.cpp - the identity conversion between world and screen.
#include "uidrawarea.h"

UI_ScreenCoordConverter::~UI_ScreenCoordConverter() = default;

int UI_ScreenCoordConverter::Scale2ScreenX(long) const { return 1; }
int UI_ScreenCoordConverter::Scale2ScreenY(long) const { return 1; }
long UI_ScreenCoordConverter::Scale2WorldX(int) const { return 1; }
long UI_ScreenCoordConverter::Scale2WorldY(int) const { return 1; }
SYS_Point UI_ScreenCoordConverter::Scale2World(CPoint p) { return SYS_Point(p.x, p.y); }
CPoint UI_ScreenCoordConverter::Scale2Screen(SYS_Point p) { return CPoint(p.GetX(), p.GetY()); }
SYS_Box UI_ScreenCoordConverter::Screen2World(const CRect& r) {
  return SYS_Box(r.left, r.top, r.right, r.bottom);
}
SYS_Point UI_ScreenCoordConverter::Screen2World(const CPoint& p) { return SYS_Point(p.x, p.y); }
CRect UI_ScreenCoordConverter::World2Screen(const SYS_Box& b) {
  return CRect(b.GetLeft(), b.GetLower(), b.GetRight(), b.GetUpper());
}
CPoint UI_ScreenCoordConverter::World2Screen(const SYS_Point& p) { return CPoint(p.GetX(), p.GetY()); }
