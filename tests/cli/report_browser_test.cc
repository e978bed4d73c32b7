// SPDX-License-Identifier: Apache-2.0
// A report as a browser shows it: no error, nothing fetched, every equation and picture has a size, nothing sticks out of the
// page. Needs Chromium; without it the test is skipped and says so.
#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>

#include "tests/cli/program.h"
#include "tests/support/markup_reader.h"

namespace quiver::testing {
namespace {

namespace fs = std::filesystem;

std::string FindBrowser() {
  const char* path = std::getenv("PATH");
  std::istringstream folders(path ? path : "");
  for (std::string folder; std::getline(folders, folder, ':');)
    for (const char* name : {"chromium", "chromium-headless-shell", "chromium-browser", "google-chrome"})
      if (fs::exists(fs::path(folder) / name)) return (fs::path(folder) / name).string();
  return "";
}

// Runs the browser without a window in a profile of its own; what it prints is returned.
std::string Browse(const std::string& browser, const Scratch& scratch, const std::string& arguments) {
  const std::string out = (scratch.path() / "out").string();
  const std::string command =
      "cd '" + scratch.path().string() + "' && HOME=. timeout 60 '" + browser +
      "' --headless --no-sandbox --disable-gpu --disable-dev-shm-usage --hide-scrollbars "
      "--user-data-dir=profile --window-size=1000,1400 --virtual-time-budget=2000 " +
      arguments + " >out 2>err </dev/null";
  EXPECT_EQ(std::system(command.c_str()), 0) << ReadText(scratch.path() / "err");
  return ReadText(out);
}

// Measured in the page itself once it is laid out; the last element of the page then tells.
const char* const kMeasure = R"(<script>
window.addEventListener('load',function(){
var told={errors:window.faults,fetched:performance.getEntriesByType('resource').length,math:0,flat:0,wide:0,svg:0,readout:''};
document.querySelectorAll('math').forEach(function(m){var r=m.getBoundingClientRect();told.math++;
if(!(r.width>2)||!(r.height>4))told.flat++});
document.querySelectorAll('svg').forEach(function(s){var r=s.getBoundingClientRect();if(r.width>300)if(r.height>150)told.svg++});
told.wide=document.documentElement.scrollWidth-document.documentElement.clientWidth;
var line=document.querySelector('svg polyline.line');
if(line){var s=line.ownerSVGElement,p=line.points.getItem(3).matrixTransform(s.getScreenCTM());
s.dispatchEvent(new PointerEvent('pointermove',{clientX:p.x,clientY:p.y}));told.readout=document.getElementById('readout').textContent}
var tell=document.createElement('pre');tell.id='told';tell.textContent=JSON.stringify(told);document.body.append(tell)});
</script>)";

TEST(ReportInBrowser, IsShownWithoutErrorNetworkOrOverflow) {
  const std::string browser = FindBrowser();
  if (browser.empty())
    GTEST_SKIP()
        << "no chromium in PATH: the pages were not looked at in a browser (apt-get install chromium)";
  for (const char* example : {"relief_pool_fire", "pipe_fittings"}) {
    SCOPED_TRACE(example);
    const Scratch scratch;
    const std::string file = std::string(QUIVER_SOURCE_DIR "/examples/") + example + "/case.yaml";
    ASSERT_EQ(Quiver({"report", file, "-o", "page.html"}, scratch).status, 0);
    std::string page = ReadText(scratch.path() / "page.html");
    const size_t pictures = ReadMarkup(page).All("svg").size(),
                 formulas = ReadMarkup(page).All("math").size();
    page.insert(page.find("<style>"),
                "<script>window.faults=[];window.onerror=function(m){window.faults.push(m)};"
                "document.addEventListener('securitypolicyviolation',function(e){window.faults.push(e."
                "blockedURI)})</script>");
    page.insert(page.find("</body>"), kMeasure);
    scratch.Write("measured.html", page);
    const std::string shown = Browse(browser, scratch, "--dump-dom measured.html");
    const size_t told = shown.find("<pre id=\"told\">");
    ASSERT_NE(told, shown.npos) << ReadText(scratch.path() / "err");
    const Json measures = Json::parse(shown.substr(told + 15, shown.find("</pre>", told) - told - 15));
    EXPECT_EQ(measures["errors"], Json::array());
    EXPECT_EQ(measures["fetched"], 0);
    EXPECT_EQ(measures["math"], formulas);
    EXPECT_EQ(measures["flat"], 0);
    EXPECT_EQ(measures["svg"], pictures);
    EXPECT_LE(measures["wide"], 0);
    EXPECT_EQ(measures["readout"] == "", pictures == 0);

    Browse(browser, scratch, "--screenshot=page.png page.html");
    EXPECT_GT(fs::file_size(scratch.path() / "page.png"), 20000u);
    Browse(browser, scratch, "--print-to-pdf=page.pdf page.html");
    EXPECT_EQ(ReadText(scratch.path() / "page.pdf").substr(0, 5), "%PDF-");
    if (const char* keep = std::getenv("QUIVER_KEEP_SCREENSHOTS"))
      fs::copy_file(scratch.path() / "page.png", fs::path(keep) / (std::string(example) + ".png"),
                    fs::copy_options::overwrite_existing);
  }
}

}  // namespace
}  // namespace quiver::testing
