// SPDX-License-Identifier: Apache-2.0
// How a report looks on a light and a dark screen and on paper, and the script that reads values off the curves.
//
//   head += std::string("<style>") + kPageStyle + ChartStyle() + kDarkCharts + "</style>";
#pragma once

namespace quiver {

inline constexpr const char* kPageStyle = R"css(
:root{color-scheme:light dark;--ink:#1c1f23;--soft:#555c66;--ground:#fff;--panel:#f3f5f7;--rule:#c9ced6;--link:#174f8f;
--good:#17612f;--bad:#a01515;--holds:#fff1c2}
@media (prefers-color-scheme:dark){:root{--ink:#e6e8eb;--soft:#a8b0ba;--ground:#15181c;--panel:#1f242a;--rule:#454c55;
--link:#8cbcf5;--good:#7fd49a;--bad:#ff9a8f;--holds:#4a3f14}}
body{margin:0 auto;padding:1.5rem 1.2rem 4rem;max-width:60rem;background:var(--ground);color:var(--ink);
font:15px/1.45 system-ui,"Helvetica Neue",Helvetica,Arial,sans-serif}
h1{font-size:1.7rem;line-height:1.2;margin:0 0 .4rem}h2{font-size:1.25rem;margin:2.2rem 0 .7rem;border-bottom:2px solid var(--rule);
padding-bottom:.15rem}h3{font-size:1.03rem;margin:1.4rem 0 .4rem}h3 small{font-weight:normal;color:var(--soft)}
a{color:var(--link)}p{margin:.5rem 0}nav ul{list-style:none;padding:0;margin:.8rem 0;display:flex;flex-wrap:wrap;gap:.2rem 1.2rem}
.verdict{border-left:.4rem solid var(--good);background:var(--panel);padding:.6rem .9rem;margin:1rem 0}
.verdict.bad{border-color:var(--bad)}.verdict strong{color:var(--good)}.verdict.bad strong{color:var(--bad)}
.verdict ul{margin:.3rem 0;padding-left:1.2rem}.wide{overflow-x:auto}
table{border-collapse:collapse;width:100%;font-size:.92em;margin:.5rem 0}
th,td{text-align:left;vertical-align:baseline;padding:.2rem .9rem .2rem 0;border-bottom:1px solid var(--rule)}
thead th{border-bottom:1.5px solid var(--ink)}tbody th{font-weight:600;white-space:nowrap}
.n{text-align:right;font-variant-numeric:tabular-nums;white-space:nowrap}
tr.chosen{background:var(--holds);font-weight:600}td.meaning{color:var(--soft)}
figure{margin:1rem 0 1.6rem}figure svg{display:block;width:100%;height:auto;border:1px solid var(--rule)}
figcaption{color:var(--soft);font-size:.92em;margin-top:.3rem}
.equation{display:grid;grid-template-columns:1fr auto;gap:1rem;align-items:center;padding:.35rem 0;border-bottom:1px dotted var(--rule);
overflow-x:auto}.equation .label{color:var(--soft);font-size:.85em}
math{font-size:1.08em}mtable.lines mtd,mtable.cases mtd{text-align:left;text-align:-webkit-left;padding:.15em .5em .15em 0}
mtable.cases{font-size:.93em}mtable.cases mtd{padding-right:1em}mtable.lines mtd{padding:.1em 0}mtr.holds mtd{background:var(--holds)}mtr.holds mtext{font-weight:600}
.equalities{line-height:2;font-size:.92em}.symbols{font-size:.85em;width:auto;color:var(--soft)}.symbols th{color:var(--ink)}
ul.plain{padding-left:1.2rem;margin:.3rem 0}.hash{font-family:ui-monospace,Menlo,Consolas,monospace;overflow-wrap:anywhere}
#readout{position:fixed;pointer-events:none;background:var(--ink);color:var(--ground);font-size:12px;padding:.2rem .45rem;border-radius:3px;
display:none}
@media print{:root{--ink:#000;--soft:#333;--ground:#fff;--panel:#f3f3f3;--rule:#999;--link:#000;--good:#000;--bad:#000;--holds:#e6e6e6}
body{max-width:none;padding:0;font-size:10pt}nav,#readout{display:none}.wide,.equation{overflow:visible}.wide,.equation{overflow:visible}a{text-decoration:none}
h2,h3{break-after:avoid}figure,tr,.equation,.verdict{break-inside:avoid}.chapter{break-before:page}figure svg{max-height:105mm}
*{-webkit-print-color-adjust:exact;print-color-adjust:exact}}
@page{margin:17mm 16mm 19mm;@bottom-right{content:counter(page) " / " counter(pages);font:8pt sans-serif}}
)css";

// Behind the style of the charts.
inline constexpr const char* kDarkCharts = R"css(
@media screen and (prefers-color-scheme:dark){svg.chart{--ink:#e6e8eb;--ground:#15181c;--grid:#343a42;--c0:#7fb4f0;--c1:#f0a080;--c2:#82d39f;
--c3:#c9a2e8;--c4:#d9bf6a;--c5:#7fd0da;--mark:#ff8f85}}
)css";

// The nearest value of any curve to the pointer. Places turn into values by the frame that the picture carries.
inline constexpr const char* kReadOut = R"js(
(function(){var box=document.getElementById('readout');
document.querySelectorAll('svg[data-frame]').forEach(function(svg){
var f=svg.getAttribute('data-frame').split(' ').map(Number);
svg.addEventListener('pointermove',function(e){
var m=svg.getScreenCTM().inverse(),p=new DOMPoint(e.clientX,e.clientY).matrixTransform(m),best=null,d=400;
svg.querySelectorAll('polyline.line').forEach(function(l){for(var i=0;i!==l.points.numberOfItems;i++){var q=l.points.getItem(i),
r=(q.x-p.x)*(q.x-p.x)+(q.y-p.y)*(q.y-p.y);if(d>r){d=r;best=[l.getAttribute('data-label'),q]}}});
if(!best){box.style.display='none';return}
var q=best[1],x=f[4]+(q.x-f[0])/(f[1]-f[0])*(f[5]-f[4]),y=f[6]+(q.y-f[2])/(f[3]-f[2])*(f[7]-f[6]);
box.textContent=best[0]+': '+x.toPrecision(5)+', '+y.toPrecision(5);
box.style.display='block';box.style.left=(e.clientX+14)+'px';box.style.top=(e.clientY+10)+'px'});
svg.addEventListener('pointerleave',function(){box.style.display='none'})})})();
)js";

}  // namespace quiver
