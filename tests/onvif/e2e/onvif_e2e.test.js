// End to end with a third-party ONVIF client (the "onvif" npm package): it
// connects to `sensorctl serve --onvif` with a user and password, reads
// video sources, profiles, imaging settings and options, sets brightness,
// saturation, IR cut filter and WDR, moves the focus and stops it; the test
// checks the simulated ISP's set calls in the server's activity log
// (GET /api/log: each ONVIF operation that changes something is a host
// action with the ISP calls it caused) and the scheme file on disk. A wrong
// password is refused.
//
// Environment: SENSORCTL (the built sensorctl program, required),
// TARNIX_DEVICES (the sample device trees, default ../../../devices).
'use strict';

const test = require('node:test');
const assert = require('node:assert/strict');
const fs = require('node:fs');
const http = require('node:http');
const os = require('node:os');
const path = require('node:path');
const { spawn } = require('node:child_process');
const { Cam } = require('onvif');

const SENSORCTL = process.env.SENSORCTL;
const DEVICES = process.env.TARNIX_DEVICES || path.join(__dirname, '..', '..', '..', 'devices');
const USER = 'admin';
const PASSWORD = 'tarnix-e2e';
const SCHEME_FILE = 'mnt/mtd/code/config_file/sensor1_0.cfg';

let root;
let server;
let port;
let logNext = 0;
const ispSets = []; // [channel, command, value] of the ONVIF operations, in order

// Starts sensorctl serve --onvif on a fresh copy of the box tree, the clock
// pinned at 12:00; resolves with its port.
function startServer() {
  root = fs.mkdtempSync(path.join(os.tmpdir(), 'tarnix-onvif-e2e-'));
  fs.cpSync(path.join(DEVICES, 'box'), root, { recursive: true });
  const env = Object.fromEntries(Object.entries(process.env).filter(([k]) => !k.startsWith('TARNIX_')));
  const args = ['--root', root, '--clock', '12:00', 'serve', '--port', '0', '--onvif'];
  server = spawn(SENSORCTL, [...args, '--onvif-user', USER, '--onvif-password', PASSWORD], {
    stdio: ['ignore', 'pipe', 'inherit'],
    env,
  });
  return new Promise((resolve, reject) => {
    let buffered = '';
    const timer = setTimeout(() => reject(new Error('sensorctl serve did not start')), 20000);
    server.on('exit', (code) => reject(new Error(`sensorctl serve exited with ${code}`)));
    server.stdout.on('data', (chunk) => {
      buffered += chunk.toString();
      let nl;
      while ((nl = buffered.indexOf('\n')) >= 0) {
        const line = buffered.slice(0, nl);
        buffered = buffered.slice(nl + 1);
        const url = /^http:\/\/127\.0\.0\.1:(\d+)\/\?token=[0-9a-f]{32}$/.exec(line);
        if (url) {
          clearTimeout(timer);
          resolve(Number(url[1]));
        }
      }
    });
  });
}

function stopServer() {
  return new Promise((resolve) => {
    if (!server || server.exitCode !== null) {
      resolve();
      return;
    }
    server.removeAllListeners('exit');
    server.on('exit', resolve);
    server.kill('SIGTERM');
  });
}

// GET of a JSON document of the settings page's API.
function getJson(pathAndQuery) {
  return new Promise((resolve, reject) => {
    http
      .get({ host: '127.0.0.1', port, path: pathAndQuery }, (res) => {
        let body = '';
        res.on('data', (chunk) => (body += chunk));
        res.on('end', () => (res.statusCode === 200 ? resolve(JSON.parse(body)) : reject(new Error(body))));
      })
      .on('error', reject);
  });
}

// Reads the activity log on from where the last read ended and keeps the
// ISP sets of the ONVIF actions.
async function readLog() {
  const log = await getJson(`/api/log?since=${logNext}`);
  for (const entry of log.entries) {
    if (entry.kind === 'action' && entry.action.startsWith('onvif ')) {
      for (const call of entry.isp) {
        if (call.opt === 'set') {
          ispSets.push([call.channel, call.cmd, call.values.length > 0 ? call.values[0] : 0]);
        }
      }
    }
  }
  logNext = log.next;
}

// Promise form of a callback method of the client.
function call(cam, method, ...args) {
  return new Promise((resolve, reject) => {
    cam[method](...args, (err, result) => (err ? reject(err) : resolve(result)));
  });
}

function connect(password) {
  const cam = new Cam({ hostname: '127.0.0.1', port, username: USER, password, autoconnect: false, timeout: 10000 });
  return call(cam, 'connect').then(() => cam);
}

// The (key, value) records of a scheme file.
function schemeValues() {
  const bytes = fs.readFileSync(path.join(root, SCHEME_FILE));
  const values = new Map();
  for (let i = 0; i + 8 <= bytes.length; i += 8) {
    values.set(bytes.readUInt32LE(i), bytes.readInt32LE(i + 4));
  }
  return values;
}

function setsOf(command) {
  return ispSets.filter((s) => s[1] === command).map((s) => s[2]);
}

// Waits until the ONVIF actions' ISP sets satisfy done.
async function waitFor(done, what) {
  const deadline = Date.now() + 20000;
  await readLog();
  while (!done()) {
    if (Date.now() > deadline) {
      throw new Error(`timed out waiting for ${what}; ISP sets so far: ${JSON.stringify(ispSets)}`);
    }
    await new Promise((resolve) => setTimeout(resolve, 10));
    await readLog();
  }
}

// Forgets the sets seen so far (and everything logged before now).
async function clearSets() {
  await readLog();
  ispSets.length = 0;
}

test.before(async () => {
  assert.ok(SENSORCTL, 'SENSORCTL must name the built sensorctl');
  port = await startServer();
});

test.after(async () => {
  await stopServer();
  if (root) {
    fs.rmSync(root, { recursive: true, force: true });
  }
});

test('connects with user and password and reads video sources and profiles', async () => {
  const cam = await connect(PASSWORD);
  assert.equal(cam.videoSources.length, 1);
  assert.equal(cam.videoSources[0].$.token, 'VideoSource_1');
  assert.equal(cam.profiles.length, 1);
  assert.equal(cam.profiles[0].$.token, 'Profile_1');
  assert.equal(cam.activeSource.sourceToken, 'VideoSource_1');
  assert.match(cam.uri.imaging.href, /\/onvif\/imaging_service$/);
  const info = await call(cam, 'getDeviceInformation');
  assert.equal(info.manufacturer, 'Tarnix');
  assert.equal(info.model, 'Hi3516DV300');
});

test('reads imaging settings and options as the box camera offers them', async () => {
  const cam = await connect(PASSWORD);
  const settings = await call(cam, 'getImagingSettings');
  assert.equal(settings.brightness, 50);
  assert.equal(settings.colorSaturation, 50);
  assert.equal(settings.irCutFilter, 'AUTO');
  assert.equal(settings.exposure.mode, 'AUTO');
  assert.equal(settings.exposure.maxExposureTime, 40000);
  assert.equal(settings.wideDynamicRange.mode, 'OFF');
  const options = await call(cam, 'getVideoSourceOptions');
  assert.deepEqual(options.brightness, { min: 0, max: 100 });
  assert.deepEqual(options.irCutFilterModes, ['ON', 'OFF', 'AUTO']);
  assert.deepEqual(options.exposure.maxExposureTime, { min: 10, max: 333333 });
  assert.deepEqual(options.wideDynamicRange.mode, ['OFF', 'ON']);
});

test('sets brightness, saturation, IR cut filter and WDR', async () => {
  const cam = await connect(PASSWORD);
  await clearSets();
  await call(cam, 'setImagingSettings', { brightness: 65, colorSaturation: 40, irCutFilter: 'OFF' });
  // The client has no WDR argument: the same request, written here, through
  // the client's own transport and security header.
  await call(cam, '_request', {
    service: 'imaging',
    body:
      cam._envelopeHeader() +
      '<SetImagingSettings xmlns="http://www.onvif.org/ver20/imaging/wsdl">' +
      '<VideoSourceToken>VideoSource_1</VideoSourceToken><ImagingSettings>' +
      '<WideDynamicRange xmlns="http://www.onvif.org/ver10/schema"><Mode>ON</Mode><Level>70</Level>' +
      '</WideDynamicRange></ImagingSettings></SetImagingSettings>' +
      cam._envelopeFooter(),
  });
  // Each operation's sets are in the log once it has answered.
  await waitFor(() => setsOf(2369).length > 0, 'the WDR strength');
  // The simulated ISP got each value once (ISP channel 0).
  assert.deepEqual(setsOf(34), [65]);
  assert.deepEqual(setsOf(2337), [40]);
  assert.deepEqual(setsOf(144), [2]);
  assert.deepEqual(setsOf(2369), [70]);
  assert.ok(ispSets.every((s) => s[0] === 0));
  // KEY_WDR_MODE goes through its composite handler; the scheme file holds it.
  const stored = schemeValues();
  assert.equal(stored.get(34), 65);
  assert.equal(stored.get(2337), 40);
  assert.equal(stored.get(144), 2);
  assert.equal(stored.get(2368), 1);
  assert.equal(stored.get(2369), 70);
  const settings = await call(cam, 'getImagingSettings');
  assert.equal(settings.brightness, 65);
  assert.equal(settings.irCutFilter, 'OFF');
  assert.equal(settings.wideDynamicRange.mode, 'ON');
});

test('a value outside the options is refused and nothing is applied', async () => {
  const cam = await connect(PASSWORD);
  await clearSets();
  await assert.rejects(call(cam, 'setImagingSettings', { brightness: 30, colorSaturation: 400 }), /outside 0 \.\. 100/);
  // A valid set afterwards marks the end of whatever the refused one caused.
  await call(cam, 'setImagingSettings', { brightness: 66 });
  await waitFor(() => setsOf(34).length > 0, 'the brightness');
  assert.deepEqual(ispSets, [[0, 34, 66]]);
  assert.equal(schemeValues().get(34), 66);
  assert.equal(schemeValues().get(2337), 40);
});

test('a wrong password is refused', async () => {
  await assert.rejects(connect('not-the-password'), /Sender not Authorized/);
});

test('a focus move followed by stop reaches the lens commands', async () => {
  const cam = await connect(PASSWORD);
  const moveOptions = await call(cam, 'imagingGetMoveOptions', {});
  assert.ok(moveOptions !== undefined);
  await clearSets();
  await call(cam, 'imagingMove', { continuous: { speed: 0.5 } });
  await call(cam, 'imagingStop', {});
  await waitFor(() => ispSets.length >= 4, 'four lens commands');
  // Manual focus, far motor on; then both focus motors off.
  assert.deepEqual(
    ispSets.map((s) => [s[1], s[2]]),
    [
      [1536, 1],
      [1554, 1],
      [1553, 0],
      [1554, 0],
    ],
  );
});
