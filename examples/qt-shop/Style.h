// SPDX-License-Identifier: Apache-2.0
#pragma once

/// The shop's style sheet. The property "look" of a widget chooses its rules.
inline constexpr const char* shopStyle = R"css(
* { font-family: "Cantarell", "Noto Sans", "Noto Sans CJK SC", sans-serif; color: #2a2c2a; font-size: 13px; }
ShopWindow, QScrollArea, QScrollArea > QWidget > QWidget { background: #faf7f1; }
QScrollArea { border: none; }
QScrollBar:vertical { background: transparent; width: 8px; }
QScrollBar::handle:vertical { background: #d8d2c4; border-radius: 4px; min-height: 40px; }
QScrollBar::add-line, QScrollBar::sub-line, QScrollBar::add-page, QScrollBar::sub-page { background: none; height: 0; }
[look="brand"] { font-size: 21px; font-weight: 800; color: #24493e; }
[look="brand-line"] { font-size: 12px; color: #85867d; }
[look="banner"] { border-radius: 20px;
  background: qlineargradient(x1: 0, y1: 0, x2: 1, y2: 0.4, stop: 0 #24493e, stop: 1 #3b6d5c); }
[look="banner-kicker"] { color: #e9c46a; font-size: 11px; font-weight: 700; }
[look="banner-title"] { color: #fffdf8; font-size: 25px; font-weight: 800; }
[look="banner-text"] { color: #cfe0d8; }
[look="section"] { font-size: 17px; font-weight: 700; }
[look="quiet"] { color: #85867d; }
[look="card"] { background: #ffffff; border: 1px solid #efeae0; border-radius: 18px; }
[look="product-name"] { font-size: 15px; font-weight: 700; }
[look="product-line"] { font-size: 12px; color: #85867d; }
[look="price"] { font-size: 15px; font-weight: 700; color: #24493e; }
[look="total"] { font-size: 22px; font-weight: 800; color: #24493e; }
QPushButton { background: #24493e; color: #fffdf8; border: 2px solid transparent; border-radius: 17px;
  padding: 5px 14px; min-height: 20px; font-weight: 700; }
QPushButton:hover { background: #2f5d50; }
QPushButton:pressed { background: #1a362e; }
QPushButton:focus { border-color: #e9c46a; }
QPushButton:disabled { background: #b9c4be; }
QPushButton[look="soft"] { background: #edf2ee; color: #24493e; }
QPushButton[look="soft"]:hover { background: #dfe9e2; }
QPushButton[look="soft"]:pressed { background: #cfddd4; }
QPushButton[look="warm"] { background: #e9c46a; color: #3a2f10; }
QPushButton[look="warm"]:hover { background: #f0d083; }
QPushButton[look="wide"] { padding: 9px 22px; font-size: 15px; border-radius: 21px; }
QPushButton[look="tab"] { background: transparent; color: #85867d; padding: 7px 18px; font-size: 14px;
  border-radius: 19px; }
QPushButton[look="tab"]:hover { background: #f3efe6; }
QPushButton[look="tab"]:checked { background: #e4ede7; color: #24493e; }
[look="tabs"] { background: #ffffff; border-top: 1px solid #ece7dc; }
[look="toast"] { background: #2a2c2a; color: #fffdf8; border-radius: 18px; padding: 9px 20px; }
)css";
