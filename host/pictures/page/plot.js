// Draws the lines that stand in the page. Each is thinned anew for the span in view: the
// least and the greatest sample of every pixel, so that no peak is lost, and every sample
// once there is room for all of them. A missing sample always cuts its line.
(function () {
  "use strict";

  const PANEL_HEIGHT = 260;
  const AXIS_WIDTH = 70;
  const LEAST_DRAG = 4; // pixels; less is a click

  const page = JSON.parse(document.getElementById("plot-data").textContent);

  // ---------------------------------------------------------------------------
  // Samples

  // 32-bit floats, little-endian, in base64.
  function decode(text) {
    const letters = atob(text);
    const bytes = new Uint8Array(letters.length);
    for (let i = 0; i < letters.length; ++i) {
      bytes[i] = letters.charCodeAt(i);
    }
    return new Float32Array(bytes.buffer);
  }

  // Where a bucket of samples stands and what it shows: a cut when it begins with a missing
  // sample, its extremes in the order in which they come, a cut when one is missing later.
  function summarize(samples, first, end) {
    let least = -1;
    let greatest = -1;
    let cutAfter = false;
    for (let i = first; i < end; ++i) {
      const value = samples[i];
      if (Number.isNaN(value)) {
        cutAfter = cutAfter || least >= 0;
      } else if (least < 0) {
        least = greatest = i;
      } else if (value < samples[least]) {
        least = i;
      } else if (value > samples[greatest]) {
        greatest = i;
      }
    }
    if (least < 0) {
      return [null, null, null, null];
    }
    return [Number.isNaN(samples[first]) ? null : undefined, samples[Math.min(least, greatest)],
            samples[Math.max(least, greatest)], cutAfter ? null : undefined];
  }

  function finiteOrNull(value) {
    return Number.isNaN(value) ? null : value;
  }

  // The first and the last sample of a group of lines to draw for a span: one more than is
  // seen on each side, for the line to run out of the picture.
  function findSamples(group, from, to) {
    const clamp = (value) => Math.min(Math.max(value, 0), group.count - 1);
    return [clamp(Math.floor((from - group.start) / group.step) - 1),
            clamp(Math.ceil((to - group.start) / group.step) + 1)];
  }

  // A table as the chart joins them: the positions, then the values of each line.
  function makeTable(group, from, to, pixelCount) {
    if (group.count === 0) {
      return [[], ...group.lines.map(() => [])];
    }
    const [first, last] = findSamples(group, from, to);
    const count = last - first + 1;
    const positionOf = (sample) => group.start + sample * group.step;
    const table = [[], ...group.lines.map(() => [])];
    if (count <= 2 * pixelCount) {
      for (let i = first; i <= last; ++i) {
        table[0].push(positionOf(i));
        group.lines.forEach((line, k) => table[k + 1].push(finiteOrNull(line.samples[i])));
      }
      return table;
    }
    for (let bucket = 0; bucket < pixelCount; ++bucket) {
      const begin = first + Math.floor((bucket * count) / pixelCount);
      const end = first + Math.floor(((bucket + 1) * count) / pixelCount);
      for (let part = 0; part < 4; ++part) {
        table[0].push(positionOf(begin + ((end - begin) * part) / 4));
      }
      group.lines.forEach((line, k) => {
        table[k + 1].push(...summarize(line.samples, begin, end));
      });
    }
    return table;
  }

  // ---------------------------------------------------------------------------
  // Charts

  // Samples between two missing ones are no line: they are drawn as dots.
  function findLonePoints(chart, series, areAllShown) {
    if (areAllShown) {
      return null;
    }
    const values = chart.data[series];
    const lone = [];
    let previous = null; // the value before, cuts included
    let candidate = -1;
    for (let i = 0; i < values.length; ++i) {
      if (values[i] === undefined) {
        continue;
      }
      if (values[i] === null && candidate >= 0) {
        lone.push(candidate);
      }
      candidate = values[i] !== null && previous === null ? i : -1;
      previous = values[i];
    }
    if (candidate >= 0) {
      lone.push(candidate);
    }
    return lone.length > 0 ? lone : null;
  }

  // With the digits that a 32-bit float has.
  function showNumber(value) {
    return value === null || value === undefined ? "--" : String(Number(value.toPrecision(7)));
  }

  function makeSeries(line) {
    return {
      label: line.label,
      stroke: line.pale ? line.color + "66" : line.color,
      width: line.pale ? 4 : 1.5,
      points: {filter: findLonePoints},
      value: (chart, value) => showNumber(value),
    };
  }

  function makeOptions(panel, view) {
    const axis = {stroke: "#222", grid: {stroke: "#ddd", width: 1}, ticks: {stroke: "#222", width: 1}};
    return {
      width: measureWidth(),
      height: PANEL_HEIGHT,
      scales: {x: {time: false, auto: false, range: (chart, from, to) => [from, to]}},
      axes: [{...axis, label: panel.x_title, labelSize: 20},
             {...axis, label: panel.y_title, labelSize: 20, size: AXIS_WIDTH}],
      series: [{label: panel.x_title}, ...panel.lines.map(makeSeries)],
      cursor: {
        // A drag is for one chart to answer: it moves the others along.
        sync: {key: panel.x_title, filters: {pub: (type) => type.startsWith("mousemove")}},
        drag: {x: true, y: false, setScale: false},
        bind: {dblclick: () => () => { show(view, view.full); return null; }},
      },
      hooks: {setSelect: [(chart) => zoomToSelection(chart, view)]},
    };
  }

  function measureWidth() {
    return Math.max(320, document.documentElement.clientWidth - 48);
  }

  // Lines that share their times are thinned at the same places.
  function groupLines(lines) {
    const groups = [];
    for (const line of lines) {
      line.samples = decode(line.samples);
      const same = groups.find((group) => group.start === line.start && group.step === line.step &&
                                          group.count === line.samples.length);
      if (same) {
        same.lines.push(line);
      } else {
        groups.push({start: line.start, step: line.step, count: line.samples.length, lines: [line]});
      }
    }
    return groups;
  }

  function addElement(name, text) {
    const element = document.createElement(name);
    element.textContent = text;
    document.body.append(element);
    return element;
  }

  function makePanel(panel) {
    const groups = groupLines(panel.lines);
    panel.lines = groups.flatMap((group) => group.lines);
    const view = findView(panel.x_title, groups);
    addElement("h2", panel.title);
    const empty = [[], ...panel.lines.map(() => [])];
    const chart = new uPlot(makeOptions(panel, view), empty, addElement("div", ""));
    view.panels.push({groups, chart});
    return {groups, chart};
  }

  function redraw(panel, [from, to]) {
    const tables = panel.groups.map((group) => makeTable(group, from, to, panel.chart.width));
    const expandCuts = tables.map((table) => table.map(() => 2));
    panel.chart.batch(() => {
      panel.chart.setData(uPlot.join(tables, expandCuts), false);
      panel.chart.setScale("x", {min: from, max: to});
    });
  }

  // ---------------------------------------------------------------------------
  // Views: panels over the same kind of axis show the same span

  const views = new Map();

  function findView(title, groups) {
    if (!views.has(title)) {
      views.set(title, {full: [Infinity, -Infinity], shown: null, panels: []});
    }
    const view = views.get(title);
    for (const group of groups.filter((candidate) => candidate.count > 0)) {
      view.full = [Math.min(view.full[0], group.start),
                   Math.max(view.full[1], group.start + (group.count - 1) * group.step)];
    }
    return view;
  }

  // A span of some width, whatever there is to show.
  function makeSpan([from, to]) {
    if (!(from <= to)) {
      return [0, 1];
    }
    return from < to ? [from, to] : [from - 0.5, to + 0.5];
  }

  function show(view, span) {
    view.shown = span;
    view.panels.forEach((panel) => redraw(panel, span));
  }

  function zoomToSelection(chart, view) {
    const {left, width} = chart.select;
    if (width < LEAST_DRAG) {
      return;
    }
    const span = [chart.posToVal(left, "x"), chart.posToVal(left + width, "x")];
    chart.setSelect({left: 0, top: 0, width: 0, height: 0}, false);
    show(view, span);
  }

  // ---------------------------------------------------------------------------

  const panels = page.panels.map(makePanel);
  for (const view of views.values()) {
    view.full = makeSpan(view.full);
    show(view, makeSpan([page.from === null ? view.full[0] : page.from,
                         page.to === null ? view.full[1] : page.to]));
  }
  addEventListener("resize", () => {
    for (const panel of panels) {
      panel.chart.setSize({width: measureWidth(), height: PANEL_HEIGHT});
    }
    views.forEach((view) => show(view, view.shown));
  });

  // For scripts that drive the page.
  window.plotPage = {panels, views, show};
})();
