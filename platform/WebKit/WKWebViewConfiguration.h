// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "WebKit/WKUserContentController.h"

namespace oq {

struct WKPreferences {};

enum class WKSelectionGranularity : int { Dynamic = 0, Character = 1 };

/// The settings a web view is created with; later changes do not affect open pages. Main thread only.
class WKWebViewConfiguration {
 public:
  const std::shared_ptr<WKPreferences>& preferences() const { return _preferences; }
  void setPreferences(std::shared_ptr<WKPreferences> preferences) { _preferences = std::move(preferences); }
  const std::shared_ptr<WKUserContentController>& userContentController() const { return _content; }
  void setUserContentController(std::shared_ptr<WKUserContentController> content) { _content = std::move(content); }
  bool allowsInlineMediaPlayback() const { return _inlineMedia; }
  void setAllowsInlineMediaPlayback(bool allows) { _inlineMedia = allows; }
  WKSelectionGranularity selectionGranularity() const { return _granularity; }
  void setSelectionGranularity(WKSelectionGranularity granularity) { _granularity = granularity; }

 private:
  std::shared_ptr<WKPreferences> _preferences = std::make_shared<WKPreferences>();
  std::shared_ptr<WKUserContentController> _content = std::make_shared<WKUserContentController>();
  bool _inlineMedia = false;
  WKSelectionGranularity _granularity = WKSelectionGranularity::Dynamic;
};

}  // namespace oq
