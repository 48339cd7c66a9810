// SPDX-License-Identifier: Apache-2.0
#pragma once

/// The shop's style sheet.
inline constexpr const char* shopStyle = R"css(
window.shop { background: #faf7f1; color: #2a2c2a;
  font-family: "Cantarell", "Noto Sans", "Noto Sans CJK SC", sans-serif; }
.topbar { padding: 16px 20px 12px 20px; }
.brand { font-size: 21px; font-weight: 800; letter-spacing: 0.5px; color: #24493e; }
.brand-line { font-size: 12px; color: #85867d; }
.banner { background: linear-gradient(115deg, #24493e, #3b6d5c); border-radius: 20px; padding: 22px 24px; }
.banner-kicker { color: #e9c46a; font-size: 11px; font-weight: 700; letter-spacing: 2px; }
.banner-title { color: #fffdf8; font-size: 25px; font-weight: 800; }
.banner-text { color: #cfe0d8; font-size: 13px; }
.section { font-size: 17px; font-weight: 700; }
.quiet { font-size: 13px; color: #85867d; }
.card { background: #ffffff; border-radius: 18px; box-shadow: 0 2px 10px alpha(#2a2c2a, 0.07); }
.card-body { padding: 10px 14px 14px 14px; }
.product-name { font-size: 15px; font-weight: 700; }
.product-line { font-size: 12px; color: #85867d; }
.price { font-size: 15px; font-weight: 700; color: #24493e; }
.total { font-size: 22px; font-weight: 800; color: #24493e; }
button.pill { background: none; background-color: #24493e; color: #fffdf8; border: none; box-shadow: none;
  text-shadow: none; border-radius: 999px; padding: 6px 16px; min-height: 22px; font-size: 13px; font-weight: 700;
  transition: background-color 120ms; }
button.pill:hover { background-color: #2f5d50; }
button.pill:active { background-color: #1a362e; }
button.pill.soft { background-color: #edf2ee; color: #24493e; }
button.pill.soft:hover { background-color: #dfe9e2; }
button.pill.soft:active { background-color: #cfddd4; }
button.pill.warm { background-color: #e9c46a; color: #3a2f10; }
button.pill.warm:hover { background-color: #f0d083; }
button.pill.wide { padding: 11px 24px; font-size: 15px; }
.tabs { background: #ffffff; padding: 8px 14px 10px 14px; box-shadow: 0 -1px 0 #ece7dc; }
.tabs.inline { background: none; box-shadow: none; padding: 0; }
button.tab { background: none; border: none; box-shadow: none; color: #85867d; border-radius: 999px; padding: 8px 18px;
  font-size: 14px; font-weight: 700; }
button.tab:hover { background-color: #f3efe6; }
button.tab:checked { background-color: #e4ede7; color: #24493e; }
.toast { background: #2a2c2a; color: #fffdf8; border-radius: 999px; padding: 9px 20px; font-size: 13px; }
flowbox > flowboxchild { padding: 0; border-radius: 18px; }
flowbox > flowboxchild:hover { background: none; }
)css";
