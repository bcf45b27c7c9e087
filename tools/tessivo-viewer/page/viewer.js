// The viewer's page: everything arrives on one server-sent event stream
// (/events) and is drawn as it comes; the switch and the controls post to
// /api/. No polling, nothing fetched from elsewhere.
'use strict';

const MAX_RANGE_M = 6;
const FOV_DEG = 60;
const TRAIL_MS = 4000;
const SEGMENT_START_DEG = -60;
const SEGMENT_WIDTH_DEG = 20;

const state = { result: null, truth: null, trails: new Map(), presence: null, presenceAt: 0 };
const $ = (id) => document.getElementById(id);

function text(id, value) { $(id).textContent = value; }
function metres(value) { return Number(value).toFixed(2) + ' m'; }

// --- the map -------------------------------------------------------------
const canvas = $('map');
const ctx = canvas.getContext('2d');
const scale = (canvas.height - 30) / MAX_RANGE_M;  // pixels per metre
const origin = { x: canvas.width / 2, y: canvas.height - 12 };

function toCanvas(x, y) { return [origin.x + x * scale, origin.y - y * scale]; }
function polar(range, angleDeg) {
  const a = angleDeg * Math.PI / 180;
  return [range * Math.sin(a), range * Math.cos(a)];
}
// Canvas angles are measured from +x, clockwise because y points down.
function canvasAngle(angleDeg) { return (angleDeg - 90) * Math.PI / 180; }

function drawMap() {
  ctx.clearRect(0, 0, canvas.width, canvas.height);
  const segments = state.result ? state.result.segments : [];
  for (let i = 0; i < 6; ++i) {
    const from = SEGMENT_START_DEG + i * SEGMENT_WIDTH_DEG;
    ctx.beginPath();
    ctx.moveTo(origin.x, origin.y);
    ctx.arc(origin.x, origin.y, MAX_RANGE_M * scale, canvasAngle(from),
            canvasAngle(from + SEGMENT_WIDTH_DEG));
    ctx.closePath();
    ctx.fillStyle = segments[i] ? 'rgba(21,101,192,0.16)' : 'rgba(0,0,0,0)';
    ctx.fill();
    ctx.strokeStyle = '#dde';
    ctx.stroke();
  }
  ctx.strokeStyle = '#c5cad3';
  ctx.fillStyle = '#7a8490';
  ctx.font = '11px sans-serif';
  for (let r = 1; r <= MAX_RANGE_M; ++r) {
    ctx.beginPath();
    ctx.arc(origin.x, origin.y, r * scale, canvasAngle(-FOV_DEG), canvasAngle(FOV_DEG));
    ctx.stroke();
    const [lx, ly] = toCanvas(...polar(r, FOV_DEG));
    ctx.fillText(r + ' m', lx + 3, ly);
  }
  ctx.strokeStyle = '#8893a0';
  for (const a of [-FOV_DEG, FOV_DEG]) {
    const [ex, ey] = toCanvas(...polar(MAX_RANGE_M, a));
    ctx.beginPath(); ctx.moveTo(origin.x, origin.y); ctx.lineTo(ex, ey); ctx.stroke();
  }
  ctx.fillStyle = '#1d232a';
  ctx.fillRect(origin.x - 60, origin.y, 120, 6);
  ctx.fillText('TV', origin.x - 8, origin.y - 4);
  ctx.fillStyle = '#7a8490';
  ctx.fillText('x < 0 · their right', 8, canvas.height - 4);
  ctx.fillText('x > 0 · their left', canvas.width - 100, canvas.height - 4);

  if (state.truth) {
    ctx.strokeStyle = '#e65100';
    ctx.fillStyle = '#e65100';
    for (const p of state.truth.people) {
      const [cx, cy] = toCanvas(p.x, p.y);
      ctx.beginPath();
      ctx.moveTo(cx, cy - 8); ctx.lineTo(cx + 8, cy); ctx.lineTo(cx, cy + 8); ctx.lineTo(cx - 8, cy);
      ctx.closePath(); ctx.stroke();
      ctx.fillText('T' + p.id, cx + 9, cy + 12);
    }
  }
  const now = performance.now();
  for (const [id, trail] of state.trails) {
    ctx.strokeStyle = 'rgba(21,101,192,0.45)';
    ctx.beginPath();
    trail.forEach((point, i) => {
      const [cx, cy] = toCanvas(point.x, point.y);
      if (i === 0) ctx.moveTo(cx, cy); else ctx.lineTo(cx, cy);
    });
    ctx.stroke();
    if (now - trail[trail.length - 1].t > 150) continue;  // gone from the last frame
  }
  if (state.result) {
    ctx.fillStyle = '#1565c0';
    for (const t of state.result.tracks) {
      const [cx, cy] = toCanvas(...polar(t.range, t.angle));
      ctx.beginPath(); ctx.arc(cx, cy, 6, 0, 2 * Math.PI); ctx.fill();
      ctx.fillText('#' + t.id + ' ' + t.velocity.toFixed(1) + ' m/s', cx + 8, cy - 6);
    }
  }
}

function onResult(result) {
  state.result = result;
  const now = performance.now();
  const seen = new Set();
  for (const t of result.tracks) {
    const [x, y] = polar(t.range, t.angle);
    const trail = state.trails.get(t.id) || [];
    trail.push({ x, y, t: now });
    state.trails.set(t.id, trail);
    seen.add(t.id);
  }
  for (const [id, trail] of state.trails) {
    while (trail.length && now - trail[0].t > TRAIL_MS) trail.shift();
    if (!trail.length) state.trails.delete(id);
  }
  const rows = result.tracks.map((t) => {
    const [x, y] = polar(t.range, t.angle);
    const tr = document.createElement('tr');
    tr.dataset.trackId = t.id;
    for (const cell of [String(t.id), metres(t.range), t.angle.toFixed(1) + '°',
                        x.toFixed(2) + ', ' + y.toFixed(2) + ' m',
                        t.velocity.toFixed(2) + ' m/s']) {
      const td = document.createElement('td');
      td.textContent = cell;
      tr.appendChild(td);
    }
    return tr;
  });
  $('track-list').replaceChildren(...rows);
  text('track-count', '(' + result.tracks.length + ')');
  text('segments', result.segments.join(' '));
  drawMap();
}

// --- presence, status, hold ---------------------------------------------
function showPresence() {
  const p = state.presence;
  if (!p) return;
  if (!p.ok) {
    text('presence-detection', '–');
    text('presence-distance', '');
    text('presence-age', p.error || 'no answer');
    return;
  }
  text('presence-detection', p.detection === 1 ? 'somebody there' :
       p.detection === 0 ? 'nobody' : 'detection ' + p.detection);
  text('presence-distance', p.distance !== undefined && p.distance !== null ?
       p.distance + ' m' : '');
  const age = (p.ageMs + performance.now() - state.presenceAt) / 1000;
  text('presence-age', 'result ' + p.result + ', answered ' + age.toFixed(1) + ' s ago');
}
setInterval(showPresence, 250);  // ages the shown answer; fetches nothing

function onService(service) {
  const s = service.status || {};
  const running = !!service.owner;
  const badge = $('connection');
  badge.textContent = running ? 'service on the bus' :
    (service.busError ? service.busError : 'service not on the bus');
  badge.className = 'badge ' + (running ? 'on' : 'off');
  text('status-shape', s.Shape || '–');
  text('status-mode', s.Mode || '–');
  text('status-reason', s.Reason ? s.Reason + ': ' + (s.ReasonText || '') : '–');
  text('status-streaming', s.Streaming === undefined ? '–' :
       s.Streaming ? 'streaming' : 'not streaming');
  text('status-subscribers', s.Subscribers === undefined ? '–' : String(s.Subscribers));
  text('status-statistics', s.UsageStatistics === undefined ? '–' :
       (s.UsageStatistics ? 'on' : 'off') + ' (country ' + (s.Country || '?') + ')');
  text('status-claimed', s.SensorClaimed === undefined ? '–' :
       s.SensorClaimed ? 'claimed by another program' : 'free');
}

function onHold(hold) {
  $('hold').checked = hold.on;
  text('hold-note', hold.note + (hold.subscribed ? ' Subscribed now.' : ' Not subscribed now.'));
  text('hold-error', hold.error || '');
}

async function post(path, body) {
  const reply = await fetch(path, { method: 'POST', headers: { 'Content-Type': 'application/json' },
                                    body: JSON.stringify(body) });
  const answer = await reply.json().catch(() => ({ error: 'no answer' }));
  return reply.ok ? { ok: true, answer } : { ok: false, error: answer.error || reply.statusText };
}

$('hold').addEventListener('change', async (e) => {
  const r = await post('/api/hold', { on: e.target.checked });
  if (!r.ok) text('hold-error', r.error);
});

// --- the simulated TV ---------------------------------------------------
async function control(name, value) {
  const r = await post('/api/tv', { control: name, value });
  text('tv-error', r.ok ? '' : r.error);
  if (r.ok) onTv(r.answer);
}
document.querySelectorAll('button[data-control]').forEach((b) =>
  b.addEventListener('click', () => control(b.dataset.control, b.dataset.value)));
$('country-set').addEventListener('click', () => control('country', $('country').value.trim()));
$('recording-set').addEventListener('click', () => control('recording', $('recording').value.trim()));
$('scene').addEventListener('change', (e) => control('scene', e.target.value));
document.querySelectorAll('input[data-fault]').forEach((box) =>
  box.addEventListener('change', () =>
    control('fault', box.dataset.fault + (box.checked ? ' on' : ' off'))));

function onTv(tv) {
  document.querySelectorAll('button[data-control]').forEach((b) =>
    b.classList.toggle('active', tv[b.dataset.control] === b.dataset.value));
  const select = $('scene');
  if (select.options.length !== tv.scenes.length) {
    select.replaceChildren(...tv.scenes.map((name) => new Option(name, name)));
  }
  select.value = tv.source === 'scene' ? tv.scene : '';
  if (document.activeElement !== $('country')) $('country').value = tv.country || '';
  document.querySelectorAll('input[data-fault]').forEach((box) => {
    box.checked = !!tv.faults[box.dataset.fault];
  });
  text('tv-state', 'app ' + tv.app + ', ' + tv.rotation + ', sensor ' + tv.sensor +
       ', country ' + tv.country + ', agreement ' + tv.agreement + ', radar: ' +
       (tv.source === 'recording' ? 'recording ' + tv.recording : 'scene ' + tv.scene));
}

function onSimulated(sim) {
  document.querySelectorAll('.simulated').forEach((el) => { el.hidden = !sim.present; });
  $('no-sim').hidden = sim.present;
}

function onScore(score) {
  text('score-detected', String(score.detected));
  text('score-missed', String(score.missed));
  text('score-false', String(score.falseTracks));
  text('score-rate', score.frames + ' frames scored' + (score.detection === null ? '' :
       ', ' + (100 * score.detection).toFixed(1) + ' % of person-frames detected'));
}

function bars(values, label) {
  const max = Math.max(1, ...values);
  const box = document.createElement('div');
  const title = document.createElement('div');
  title.className = 'note';
  title.textContent = label + ': ' + values.join(' ');
  const chart = document.createElement('div');
  chart.className = 'chart';
  for (const v of values) {
    const bar = document.createElement('div');
    bar.style.height = (100 * v / max) + '%';
    bar.title = String(v);
    chart.appendChild(bar);
  }
  box.append(title, chart);
  return box;
}

function heat(values) {
  const max = Math.max(1, ...values);
  const grid = document.createElement('div');
  grid.className = 'heat';
  // Row 0 is the nearest range band: drawn at the bottom, as on the map.
  for (let band = 6; band >= 0; --band) {
    for (let sector = 0; sector < 6; ++sector) {
      const v = values[band * 6 + sector];
      const cell = document.createElement('div');
      cell.style.background = 'rgba(21,101,192,' + (v / max) + ')';
      cell.title = 'band ' + band + ', sector ' + sector + ': ' + v;
      grid.appendChild(cell);
    }
  }
  return grid;
}

function onKpi(reports) {
  const box = $('kpi');
  if (!reports.length) return;
  const last = reports[reports.length - 1];
  const when = new Date(last.time * 1000).toLocaleTimeString();
  const head = document.createElement('p');
  head.className = 'note';
  head.textContent = reports.length + ' report(s); the last at ' + when + ' (' + last.app + ')';
  const title = document.createElement('div');
  title.className = 'note';
  title.textContent = 'track positions by range band (rows, near at the bottom) and segment';
  box.replaceChildren(head, bars(last.presence, 'presence distance by band (%)'), title,
                      heat(last.segment), bars(last.objectCount, 'results with 0..5 tracks (%)'));
}

// --- the stream ----------------------------------------------------------
const handlers = {
  service: onService,
  hold: onHold,
  result: onResult,
  presence: (p) => { state.presence = p; state.presenceAt = performance.now(); showPresence(); },
  signal: (s) => text('signal', s.subject + (s.whiteList ? ' (white list: ' +
                      s.whiteList.join(', ') + ')' : '') + ' at ' + new Date().toLocaleTimeString()),
  truth: (t) => { state.truth = t; drawMap(); },
  score: onScore,
  tv: onTv,
  kpi: onKpi,
  simulated: onSimulated,
};

function connect() {
  const source = new EventSource('/events');
  for (const [name, handler] of Object.entries(handlers)) {
    source.addEventListener(name, (e) => handler(JSON.parse(e.data)));
  }
  source.onerror = () => {
    const badge = $('connection');
    badge.textContent = 'viewer unreachable, retrying';
    badge.className = 'badge off';
  };
}

drawMap();
connect();
