// The page of lml report: style sheet and script. Everything stands in the one file; nothing is fetched.
#ifndef LMLCOMMAND_REPORTPAGE_H
#define LMLCOMMAND_REPORTPAGE_H

namespace command
{
inline constexpr char kReportStyle[] = R"css(
:root { color-scheme: light dark; --paper: #fbfaf8; --ink: #1d2025; --faint: #686f7a; --rule: #d9d6d0; --card: #ffffff;
  --accent: #9a3412; --s0: #b4400f; --s1: #1559a5; --s2: #2d7a3a; --s3: #7a3a8f; --warn: #fff3df; }
@media (prefers-color-scheme: dark) { :root { --paper: #15171b; --ink: #e6e4df; --faint: #9aa1ad; --rule: #343840;
  --card: #1d2026; --accent: #ffab70; --s0: #ff9d5c; --s1: #79b8ff; --s2: #7fd18b; --s3: #d2a0e8; --warn: #3a2f1d; } }
* { box-sizing: border-box; }
body { margin: 0; background: var(--paper); color: var(--ink);
  font: 15px/1.5 system-ui, "Segoe UI", "DejaVu Sans", sans-serif; }
header { padding: 1.4rem clamp(1rem, 4vw, 3rem) .6rem; }
h1 { margin: 0; font-size: 1.5rem; overflow-wrap: anywhere; }
header p { margin: .2rem 0 0; color: var(--faint); }
main { display: grid; grid-template-columns: minmax(0, 3fr) minmax(18rem, 2fr); gap: 1.2rem;
  padding: .6rem clamp(1rem, 4vw, 3rem) 3rem; align-items: start; }
@media (max-width: 60rem) { main { grid-template-columns: minmax(0, 1fr); } }
.card { background: var(--card); border: 1px solid var(--rule); border-radius: 8px; padding: 1rem; min-width: 0; }
.wide { grid-column: 1 / -1; }
h2 { font-size: 1.05rem; margin: 0 0 .6rem; }
.tabs { display: flex; flex-wrap: wrap; gap: .4rem; margin-bottom: .6rem; }
button { font: inherit; color: inherit; background: transparent; border: 1px solid var(--rule); border-radius: 6px;
  padding: .2rem .7rem; cursor: pointer; }
button[aria-selected=true] { background: var(--accent); border-color: var(--accent); color: var(--card); }
button:focus-visible { outline: 2px solid var(--s1); outline-offset: 1px; }
.spacer { flex: 1; }
.stage { position: relative; overflow: hidden; background: #000; border-radius: 4px; width: 100%; aspect-ratio: 1;
  max-height: 78vh; cursor: grab; touch-action: none; }
.stage:active { cursor: grabbing; }
.stage img { position: absolute; left: 0; top: 0; width: 100%; height: 100%; object-fit: contain; user-select: none;
  transform-origin: 0 0; visibility: hidden; }
.stage img.on { visibility: visible; }
.stage img.near { image-rendering: pixelated; }
.under { display: flex; flex-wrap: wrap; gap: .3rem 1rem; align-items: center; margin-top: .6rem; color: var(--faint);
  font-size: .88rem; font-variant-numeric: tabular-nums; }
.bar { display: none; align-items: center; gap: .5rem; }
.bar.on { display: flex; }
.bar i { display: block; width: 10rem; height: .8rem; border-radius: 2px; }
#place { margin-left: auto; min-height: 1.4em; }
table { border-collapse: collapse; width: 100%; font-variant-numeric: tabular-nums; }
th, td { text-align: left; padding: .22rem .6rem .22rem 0; border-bottom: 1px solid var(--rule); vertical-align: top; }
tr:last-child > * { border-bottom: 0; }
th { color: var(--faint); font-weight: normal; }
td { overflow-wrap: anywhere; }
thead th { border-bottom: 2px solid var(--rule); }
.scroll { overflow-x: auto; }
.charts { display: grid; grid-template-columns: repeat(auto-fit, minmax(min(100%, 26rem), 1fr)); gap: 1rem; }
.chart { width: 100%; height: auto; }
.chart text { fill: var(--faint); font-size: 12px; }
.chart .name { fill: var(--ink); font-size: 13.5px; font-weight: 600; }
.chart .grid { stroke: var(--rule); stroke-width: 1; }
.chart .frame { fill: none; stroke: var(--faint); stroke-width: 1; }
.chart .bar { display: inline; fill: var(--s1); }
.chart .line { fill: none; stroke-width: 1.5; stroke-linejoin: round; }
.chart .s0 { stroke: var(--s0); } .chart .s1 { stroke: var(--s1); stroke-dasharray: 6 3; }
.chart .s2 { stroke: var(--s2); stroke-dasharray: 2 2; } .chart .s3 { stroke: var(--s3); stroke-dasharray: 8 3 2 3; }
.remarks { margin: 0 0 .8rem; padding-left: 1.2rem; }
.no { background: var(--warn); }
footer { padding: 0 clamp(1rem, 4vw, 3rem) 2rem; color: var(--faint); font-size: .85rem; }
@media print { .stage { max-height: none; } button { display: none; } }
)css";

inline constexpr char kReportScript[] = R"js(
(() => {
  const stage = document.querySelector('.stage');
  const images = [...stage.querySelectorAll('img')];
  const tabs = [...document.querySelectorAll('[data-show]')];
  const bars = [...document.querySelectorAll('.bar[data-for]')];
  const place = document.getElementById('place');
  let current = 0, zoom = 1, left = 0, top = 0;

  const draw = () => {
    const w = stage.clientWidth, h = stage.clientHeight;
    left = Math.min(0, Math.max(w - w * zoom, left));
    top = Math.min(0, Math.max(h - h * zoom, top));
    for (const image of images) {
      image.style.transform = `translate(${left}px, ${top}px) scale(${zoom})`;
      const shown = Math.min(w / image.naturalWidth, h / image.naturalHeight) * zoom;
      image.classList.toggle('near', shown > 2);
    }
    stage.dataset.zoom = zoom.toFixed(2);
  };
  const show = (n) => {
    current = n;
    images.forEach((image, i) => image.classList.toggle('on', i === n));
    tabs.forEach((tab, i) => tab.setAttribute('aria-selected', i === n));
    bars.forEach((bar) => bar.classList.toggle('on', +bar.dataset.for === n));
    place.textContent = '';
  };
  const zoomAt = (x, y, factor) => {
    const next = Math.min(64, Math.max(1, zoom * factor));
    left = x - (x - left) * next / zoom;
    top = y - (y - top) * next / zoom;
    zoom = next;
    draw();
  };
  const middle = (factor) => zoomAt(stage.clientWidth / 2, stage.clientHeight / 2, factor);
  const reset = () => { zoom = 1; left = top = 0; draw(); };

  tabs.forEach((tab, i) => tab.addEventListener('click', () => show(i)));
  document.getElementById('in').addEventListener('click', () => middle(2));
  document.getElementById('out').addEventListener('click', () => middle(0.5));
  document.getElementById('all').addEventListener('click', reset);
  stage.addEventListener('wheel', (event) => {
    event.preventDefault();
    const box = stage.getBoundingClientRect();
    zoomAt(event.clientX - box.left, event.clientY - box.top, Math.exp(-event.deltaY * 0.002));
  }, { passive: false });
  stage.addEventListener('dblclick', reset);
  let held = null;
  stage.addEventListener('pointerdown', (event) => {
    held = { x: event.clientX - left, y: event.clientY - top };
    stage.setPointerCapture(event.pointerId);
  });
  stage.addEventListener('pointerup', () => { held = null; });
  stage.addEventListener('pointermove', (event) => {
    if (held) { left = event.clientX - held.x; top = event.clientY - held.y; draw(); }
    const image = images[current], box = stage.getBoundingClientRect();
    const fit = Math.min(box.width / image.naturalWidth, box.height / image.naturalHeight);
    const w = image.naturalWidth * fit, h = image.naturalHeight * fit;
    const u = ((event.clientX - box.left - left) / zoom - (box.width - w) / 2) / w;
    const v = ((event.clientY - box.top - top) / zoom - (box.height - h) / 2) / h;
    if (u < 0 || u > 1 || v < 0 || v > 1) { place.textContent = ''; return; }
    const [x0, x1, y0, y1] = image.dataset.extent.split(' ').map(Number);
    const x = x0 + (x1 - x0) * u, y = y1 - (y1 - y0) * v;
    place.textContent = `x ${x.toPrecision(4)}, y ${y.toPrecision(4)} ${image.dataset.unit}`;
  });
  document.addEventListener('keydown', (event) => {
    const n = Number(event.key) - 1;
    if (n >= 0 && n < tabs.length) show(n);
    else if (event.key === '+') middle(2);
    else if (event.key === '-') middle(0.5);
    else if (event.key === '0' || event.key === 'Escape') reset();
  });
  addEventListener('resize', draw);
  const wanted = tabs.findIndex((tab) => '#' + tab.dataset.show === location.hash.split('@')[0]);
  show(Math.max(0, wanted));
  reset();
  const nearer = Number(location.hash.split('@')[1]);
  if (nearer > 1) middle(nearer);
})();
)js";
} // namespace command

#endif
