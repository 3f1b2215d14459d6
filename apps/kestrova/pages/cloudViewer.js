// A point cloud to turn with the mouse. Plain WebGL 1; fetches nothing, and leaves a sentence where there is no WebGL.
//
// The page holds <figure id="cloud"> with what it says in data-* attributes, a canvas and the controls, and three script
// elements of base64: cloud-positions (float x y z, metres: right, down, forward), cloud-colours (byte red green blue) and
// cloud-palette (256 of red green blue, from the smallest disparity to the largest).
// For whoever checks the page: <html> gets data-drawn, the number of pixels that the points cover in the first picture,
// and data-canvas, where the canvas stands; or data-failed with the reason.
(function () {
  'use strict';
  const figure = document.getElementById('cloud');
  const canvas = figure.querySelector('canvas');
  const facts = figure.dataset;
  const mark = document.documentElement.dataset;

  function bytesOf(id) {
    const text = atob(document.getElementById(id).textContent.trim());
    const bytes = new Uint8Array(text.length);
    for (let i = 0; i < text.length; ++i) bytes[i] = text.charCodeAt(i);
    return bytes;
  }

  function giveUp(reason) {
    mark.failed = reason;
    figure.classList.add('failed');
    figure.querySelector('.sentence').hidden = false;
  }

  const wishes = { antialias: true, alpha: false };
  const gl = canvas.getContext('webgl', wishes) || canvas.getContext('experimental-webgl', wishes);
  if (!gl) {
    giveUp('no WebGL');
    return;
  }

  // ---- the program of the points, and that of the lines ----

  // A point is as large as the pixel that it was measured with, seen from here: surfaces close when one comes near.
  const pointShader = `
    attribute vec3 position; attribute vec3 colour;
    uniform mat4 view; uniform float pixels; varying vec3 shade;
    void main() {
      gl_Position = view * vec4(position, 1.0);
      gl_PointSize = clamp(pixels * position.z / max(gl_Position.w, 1e-6), 1.0, 24.0);
      shade = colour;
    }`;
  const shadeShader = `
    precision mediump float; varying vec3 shade;
    void main() { gl_FragColor = vec4(shade, 1.0); }`;

  function shader(kind, source) {
    const made = gl.createShader(kind);
    gl.shaderSource(made, source);
    gl.compileShader(made);
    if (!gl.getShaderParameter(made, gl.COMPILE_STATUS) && !gl.isContextLost()) throw new Error(gl.getShaderInfoLog(made));
    return made;
  }

  function buffer(data) {
    const made = gl.createBuffer();
    gl.bindBuffer(gl.ARRAY_BUFFER, made);
    gl.bufferData(gl.ARRAY_BUFFER, data, gl.STATIC_DRAW);
    return made;
  }

  const positions = new Float32Array(bytesOf('cloud-positions').buffer);
  const ownColours = bytesOf('cloud-colours');
  const palette = bytesOf('cloud-palette');
  const count = positions.length / 3;

  function coloursByDisparity() {
    const colours = new Uint8Array(3 * count);
    const least = +facts.least, most = +facts.most;
    for (let i = 0; i < count; ++i) {
      const share = (facts.scale / positions[3 * i + 2] - least) / (most - least);
      const from = 3 * Math.round(255 * Math.min(1, Math.max(0, share)));
      colours.set(palette.subarray(from, from + 3), 3 * i);
    }
    return colours;
  }

  // The right camera, as four edges of its view and a frame.
  function cameraLines(depth) {
    const corner = (column, row) =>
      [((column - facts.centreColumn) / facts.focal) * depth, ((row - facts.centreRow) / facts.focal) * depth, depth];
    const a = corner(0, 0), b = corner(+facts.columns, 0), c = corner(+facts.columns, +facts.rows), d = corner(0, +facts.rows);
    const eye = [0, 0, 0];
    return new Float32Array([eye, a, eye, b, eye, c, eye, d, a, b, b, c, c, d, d, a].flat());
  }

  // ---- where the eye stands ----

  // Stereo clouds have stray points far away, so a sample without its extremes says where the cloud is.
  const step = Math.max(1, Math.floor(count / 5000));
  const sample = [];
  for (let i = 0; i < count; i += step) sample.push(positions.subarray(3 * i, 3 * i + 3));
  function quantile(share, measure) {
    const values = sample.map(measure).sort((a, b) => a - b);
    return values[Math.floor(share * (values.length - 1))];
  }
  const home = [0, 1].map((axis) => (quantile(0.05, (p) => p[axis]) + quantile(0.95, (p) => p[axis])) / 2);
  home.push(quantile(0.5, (p) => p[2]));
  const reach = Math.hypot(...home) || 1;
  const views = { tilted: [0.4, 0.25], side: [1.4, 0.15], above: [0, 1.5] }; // yaw and pitch in radians
  const eye = {};

  // As near as the cloud fits into the canvas.
  function fittingDistance() {
    const { forward, right, down } = axes();
    const half = Math.tan(opening / 2), aspect = canvas.clientWidth / canvas.clientHeight;
    const wanted = (p) => {
      const from = home.map((value, i) => p[i] - value);
      return Math.max(Math.abs(dot(right, from)) / (half * aspect), Math.abs(dot(down, from)) / half) - dot(forward, from);
    };
    return 1.05 * quantile(0.98, wanted);
  }

  function lookFrom(name) {
    eye.pivot = home.slice();
    if (views[name]) {
      [eye.yaw, eye.pitch] = views[name];
      eye.distance = fittingDistance();
    } else { // along the line from the camera to the middle
      eye.yaw = Math.atan2(home[0], home[2]);
      eye.pitch = Math.asin(home[1] / reach);
      eye.distance = reach;
    }
    redraw();
  }

  const opening = Math.max(0.2, 2 * Math.atan((0.55 * facts.rows) / facts.focal)); // radians from top to bottom

  function axes() {
    const sy = Math.sin(eye.yaw), cy = Math.cos(eye.yaw), sp = Math.sin(eye.pitch), cp = Math.cos(eye.pitch);
    return { forward: [sy * cp, sp, cy * cp], right: [cy, 0, -sy], down: [-sy * sp, cp, -cy * sp] };
  }
  const dot = (a, b) => a[0] * b[0] + a[1] * b[1] + a[2] * b[2];

  // Columns one after the other, as WebGL takes them.
  function viewMatrix() {
    const { forward, right, down } = axes();
    const at = eye.pivot.map((value, i) => value - eye.distance * forward[i]);
    const zoom = 1 / Math.tan(opening / 2), aspect = canvas.width / canvas.height;
    const near = eye.distance * 0.01, far = eye.distance + 100 * reach;
    const a = (far + near) / (far - near), b = (-2 * far * near) / (far - near);
    const row = (axis, factor) => [...axis.map((value) => value * factor), -factor * dot(axis, at)];
    const x = row(right, zoom / aspect), y = row(down, -zoom), w = row(forward, 1);
    const z = w.map((value) => a * value);
    z[3] += b;
    return new Float32Array([0, 1, 2, 3].flatMap((i) => [x[i], y[i], z[i], w[i]]));
  }

  // ---- drawing ----

  const background = getComputedStyle(canvas).backgroundColor.match(/\d+/g).slice(0, 3).map(Number);
  let parts = null, waiting = false, touched = false, pointScale = 1;

  function build() {
    const program = gl.createProgram();
    gl.attachShader(program, shader(gl.VERTEX_SHADER, pointShader));
    gl.attachShader(program, shader(gl.FRAGMENT_SHADER, shadeShader));
    gl.linkProgram(program);
    if (!gl.getProgramParameter(program, gl.LINK_STATUS) && !gl.isContextLost()) throw new Error(gl.getProgramInfoLog(program));
    parts = {
      program,
      position: gl.getAttribLocation(program, 'position'),
      colour: gl.getAttribLocation(program, 'colour'),
      view: gl.getUniformLocation(program, 'view'),
      pixels: gl.getUniformLocation(program, 'pixels'),
      points: buffer(positions),
      colours: { picture: buffer(ownColours), disparity: buffer(coloursByDisparity()) },
      lines: buffer(cameraLines(0.12 * reach)),
    };
  }

  // Of the picture that stands in the canvas; only the first is counted, since reading it back holds up the next.
  function countDrawn() {
    const pixels = new Uint8Array(4 * canvas.width * canvas.height);
    gl.readPixels(0, 0, canvas.width, canvas.height, gl.RGBA, gl.UNSIGNED_BYTE, pixels);
    let drawn = 0;
    for (let i = 0; i < pixels.length; i += 4)
      if (background.some((value, channel) => Math.abs(pixels[i + channel] - value) > 2)) ++drawn;
    const place = canvas.getBoundingClientRect();
    mark.canvas = `${canvas.clientWidth}x${canvas.clientHeight}+${Math.round(place.x)}+${Math.round(place.y)}`;
    mark.drawn = drawn;
  }

  function draw() {
    waiting = false;
    if (gl.isContextLost()) return;
    const ratio = window.devicePixelRatio || 1;
    const width = Math.max(1, Math.round(canvas.clientWidth * ratio)), height = Math.max(1, Math.round(canvas.clientHeight * ratio));
    if (canvas.width !== width || canvas.height !== height) {
      canvas.width = width;
      canvas.height = height;
    }
    gl.viewport(0, 0, width, height);
    gl.clearColor(background[0] / 255, background[1] / 255, background[2] / 255, 1);
    gl.clear(gl.COLOR_BUFFER_BIT | gl.DEPTH_BUFFER_BIT);
    gl.enable(gl.DEPTH_TEST);
    gl.useProgram(parts.program);
    gl.uniformMatrix4fv(parts.view, false, viewMatrix());
    const pixelsPerRadian = height / 2 / Math.tan(opening / 2);
    gl.uniform1f(parts.pixels, (1.25 * pointScale * facts.spread * pixelsPerRadian) / facts.focal);

    gl.bindBuffer(gl.ARRAY_BUFFER, parts.points);
    gl.enableVertexAttribArray(parts.position);
    gl.vertexAttribPointer(parts.position, 3, gl.FLOAT, false, 0, 0);
    gl.bindBuffer(gl.ARRAY_BUFFER, parts.colours[colourChoice.value]);
    gl.enableVertexAttribArray(parts.colour);
    gl.vertexAttribPointer(parts.colour, 3, gl.UNSIGNED_BYTE, true, 0, 0);
    gl.drawArrays(gl.POINTS, 0, count);
    if (mark.drawn === undefined) countDrawn();

    gl.disableVertexAttribArray(parts.colour);
    gl.vertexAttrib3f(parts.colour, 1.0, 0.7, 0.2);
    gl.bindBuffer(gl.ARRAY_BUFFER, parts.lines);
    gl.vertexAttribPointer(parts.position, 3, gl.FLOAT, false, 0, 0);
    gl.drawArrays(gl.LINES, 0, 16);
  }

  function redraw() {
    if (waiting) return;
    waiting = true;
    requestAnimationFrame(draw);
  }

  // ---- hands ----

  function turn(dx, dy) {
    eye.yaw += dx * 0.006;
    eye.pitch = Math.min(1.55, Math.max(-1.55, eye.pitch + dy * 0.006));
  }
  function pan(dx, dy) {
    const { right, down } = axes();
    const metres = (2 * eye.distance * Math.tan(opening / 2)) / canvas.clientHeight;
    eye.pivot = eye.pivot.map((value, i) => value - metres * (dx * right[i] + dy * down[i]));
  }
  function zoom(factor) {
    eye.distance = Math.min(50 * reach, Math.max(0.01 * reach, eye.distance * factor));
  }

  const fingers = new Map();
  const spreadOf = () => {
    const [a, b] = [...fingers.values()];
    return { x: (a.x + b.x) / 2, y: (a.y + b.y) / 2, gap: Math.hypot(a.x - b.x, a.y - b.y) || 1 };
  };
  canvas.addEventListener('pointerdown', (event) => {
    canvas.setPointerCapture(event.pointerId);
    fingers.set(event.pointerId, { x: event.clientX, y: event.clientY });
  });
  canvas.addEventListener('pointermove', (event) => {
    const was = fingers.get(event.pointerId);
    if (!was) return;
    const before = fingers.size === 2 ? spreadOf() : null;
    fingers.set(event.pointerId, { x: event.clientX, y: event.clientY });
    const dx = event.clientX - was.x, dy = event.clientY - was.y;
    if (before) {
      const now = spreadOf();
      pan(now.x - before.x, now.y - before.y);
      zoom(before.gap / now.gap);
    } else if (event.shiftKey || event.buttons & 6) pan(dx, dy);
    else turn(dx, dy);
    redraw();
  });
  for (const end of ['pointerup', 'pointercancel', 'lostpointercapture'])
    canvas.addEventListener(end, (event) => fingers.delete(event.pointerId));
  canvas.addEventListener('contextmenu', (event) => event.preventDefault());
  canvas.addEventListener('dblclick', () => lookFrom('tilted'));
  canvas.addEventListener('wheel', (event) => {
    event.preventDefault();
    zoom(Math.exp((event.deltaMode ? 30 : 1) * event.deltaY * 0.001));
    redraw();
  }, { passive: false });
  const keys = {
    ArrowLeft: () => turn(-20, 0), ArrowRight: () => turn(20, 0), ArrowUp: () => turn(0, -20), ArrowDown: () => turn(0, 20),
    '+': () => zoom(0.9), '-': () => zoom(1.1), Home: () => lookFrom('tilted'),
  };
  canvas.addEventListener('keydown', (event) => {
    if (!keys[event.key] || event.ctrlKey || event.metaKey || event.altKey) return;
    event.preventDefault();
    keys[event.key]();
    redraw();
  });

  for (const kind of ['pointerdown', 'wheel', 'keydown', 'click'])
    figure.addEventListener(kind, () => { touched = true; }); // from now on a change of size leaves the view alone

  const colourChoice = figure.querySelector('select');
  colourChoice.addEventListener('change', redraw);
  figure.querySelector('input').addEventListener('input', (event) => {
    pointScale = Math.pow(2, event.target.value);
    redraw();
  });
  for (const button of figure.querySelectorAll('button')) button.addEventListener('click', () => lookFrom(button.value));
  canvas.addEventListener('webglcontextlost', (event) => event.preventDefault());
  canvas.addEventListener('webglcontextrestored', () => { build(); redraw(); });

  try {
    build();
    lookFrom('tilted');
    new ResizeObserver(() => (touched ? redraw() : lookFrom('tilted'))).observe(canvas);
  } catch (error) {
    giveUp(error.message);
    console.error('cloud viewer: ' + error.message);
  }
})();
